#include "install/inf_installer.h"

#include <gmock/gmock.h>

#include <cstring>

#include "platform/diagnostics.h"
#include "support/captured_output.h"
#include "support/fake_installer.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const wchar_t* kTool = L"C:\\host app\\files\\inf\\InfInstallerx64.exe";
constexpr const wchar_t* kInf = L"C:\\my drivers\\usbaapl64.inf";

TEST(InstallerCommandLine, InstallsWithAQuotedInfAndAnUnquotedTool) {
    EXPECT_EQ(L"C:\\host app\\files\\inf\\InfInstallerx64.exe -i \"C:\\my drivers\\usbaapl64.inf\"",
              InstallerCommandLine(kTool, kInf, 1));
}

TEST(InstallerCommandLine, RemovesForZero) {
    EXPECT_EQ(L"C:\\host app\\files\\inf\\InfInstallerx64.exe -d \"C:\\my drivers\\usbaapl64.inf\"",
              InstallerCommandLine(kTool, kInf, 0));
}

TEST(InstallerCommandLine, LooksOnlyAtTheLowByte) {
    EXPECT_EQ(L"t -d \"i\"", InstallerCommandLine(L"t", L"i", 256));
    EXPECT_EQ(L"t -i \"i\"", InstallerCommandLine(L"t", L"i", 0x7FFFFF02));
    EXPECT_EQ(L"t -i \"i\"", InstallerCommandLine(L"t", L"i", -1));
}

TEST(InstallerCommandLine, EscapesNothing) {
    EXPECT_EQ(L"t\"\\ -i \"a\"b\\\"", InstallerCommandLine(L"t\"\\", L"a\"b\\", 1));
}

class RunInfInstallerTest : public testing::Test {
protected:
    std::int32_t Run(MessageChannel report = DebugLog) {
        return RunInfInstaller(kTool, kInf, 1, report);
    }

    FakeInstaller installer;
    CapturedDebugOutput debug;
    CapturedStandardOutput output;
};

TEST_F(RunInfInstallerTest, StartsTheToolWaitsForItAndRescansDevices) {
    EXPECT_EQ(0, Run());

    EXPECT_THAT(installer.calls, ElementsAre("start", "wait", "locate", "reenumerate"));
    EXPECT_THAT(installer.commandLines, ElementsAre(InstallerCommandLine(kTool, kInf, 1)));
}

TEST_F(RunInfInstallerTest, StartsTheToolWithoutAWindowAndOtherwiseWithDefaults) {
    Run();

    EXPECT_EQ(0x08000000u, installer.creationFlags);
    EXPECT_TRUE(installer.onlyTheCommandLineWasGiven);
}

TEST_F(RunInfInstallerTest, SetsOnlyTheSizeInTheStartupRecord) {
    Run();

    STARTUPINFOW expected{};
    expected.cb = 68;
    EXPECT_EQ(0, std::memcmp(&expected, &installer.startup, sizeof(expected)));
}

TEST_F(RunInfInstallerTest, WaitsWithoutLimit) {
    Run();

    EXPECT_EQ(INFINITE, installer.waitTimeout);
}

TEST_F(RunInfInstallerTest, ClosesTheProcessAndThenTheThread) {
    std::vector<HANDLE> closed;
    FakeApi<"CloseHandle", decltype(::CloseHandle)>* real = nullptr;
    FakeApi<"CloseHandle", decltype(::CloseHandle)> close([&](HANDLE handle) {
        closed.push_back(handle);
        return real->Real(handle);
    });
    real = &close;

    Run();

    EXPECT_THAT(closed, ElementsAre(installer.process, installer.thread));
}

TEST_F(RunInfInstallerTest, SucceedsEvenWhenTheRescanFails) {
    installer.locateResult = CR_FAILURE;

    EXPECT_EQ(0, Run());

    EXPECT_EQ("CM_Locate_DevNode failed: 13\n", output.Text());
}

TEST_F(RunInfInstallerTest, ReportsAToolThatCannotBeStartedToTheDebuggerOutput) {
    installer.startError = ERROR_BAD_EXE_FORMAT;

    EXPECT_EQ(-3, Run(DebugLog));

    EXPECT_THAT(debug.messages, ElementsAre(L"CreateProcess failed (193).\n"));
    EXPECT_EQ("", output.Text());
    EXPECT_THAT(installer.calls, ElementsAre("start"));
}

TEST_F(RunInfInstallerTest, ReportsAToolThatCannotBeStartedToStandardOutput) {
    installer.startError = ERROR_BAD_EXE_FORMAT;

    EXPECT_EQ(-3, Run(ConsolePrintW));

    EXPECT_THAT(debug.messages, IsEmpty());
    EXPECT_EQ("CreateProcess failed (193).\n", output.Text());
}

}  // namespace
