#include "inf_installer/report.h"

#include <gmock/gmock.h>

#include "inf_installer/inf_test.h"
#include "support/fake_api.h"

namespace {

using installer::ReadBytes;
using installer::Report;
using testing::MatchesRegex;

class ReportTest : public InfTest {
protected:
    static std::wstring LogPath() { return Folder() + L"\\log.txt"; }
    static std::string Log() { return ReadBytes(LogPath()).value_or("no log"); }

    using FakeGetStdHandle = FakeApi<"GetStdHandle", decltype(::GetStdHandle)>;
};

TEST_F(ReportTest, PrefixesEveryMessageInTheLogWithTheTime) {
    const FakeGetStdHandle noOutput([](DWORD) -> HANDLE { return nullptr; });
    {
        Report report;
        ASSERT_TRUE(report.OpenLog(LogPath(), L"the command line"));

        report.Say(L"Installed: \x00FC.inf");
    }

    EXPECT_THAT(Log(), MatchesRegex("....-..-.. ..:..:..  the command line\r\n"
                                    "....-..-.. ..:..:..  Installed: \xC3\xBC.inf\r\n"));
}

TEST_F(ReportTest, AppendsToAnExistingLog) {
    const FakeGetStdHandle noOutput([](DWORD) -> HANDLE { return nullptr; });
    Write(LogPath(), "before\r\n");

    EXPECT_TRUE(Report().OpenLog(LogPath(), L"now"));

    EXPECT_THAT(Log(), MatchesRegex("before\r\n....-..-.. ..:..:..  now\r\n"));
}

TEST_F(ReportTest, PrefixesEveryLineOfAMessageWithTheTime) {
    const FakeGetStdHandle noOutput([](DWORD) -> HANDLE { return nullptr; });
    {
        Report report;
        ASSERT_TRUE(report.OpenLog(LogPath(), L"now"));

        report.Say(L"one\n\nthree");
    }

    EXPECT_THAT(Log(), MatchesRegex("....-..-.. ..:..:..  now\r\n"
                                    "....-..-.. ..:..:..  one\r\n"
                                    "....-..-.. ..:..:..  \r\n"
                                    "....-..-.. ..:..:..  three\r\n"));
}

TEST_F(ReportTest, ReportsThatALogCannotBeWritten) {
    Report report;

    EXPECT_FALSE(report.OpenLog(Folder() + L"\\no folder\\log.txt", L"now"));
}

TEST_F(ReportTest, SendsMessagesToARedirectedOutputAsUtf8) {
    const std::wstring path = Folder() + L"\\output.txt";
    {
        const UniqueFile file(
            ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        const FakeGetStdHandle output([&](DWORD) { return file.Get(); });

        Report().Say(L"Installed: \x00FC.inf");
    }

    EXPECT_EQ("Installed: \xC3\xBC.inf\r\n", ReadBytes(path));
}

TEST_F(ReportTest, SendsMessagesToAConsoleAsTheyAre) {
    std::wstring written;
    const FakeApi<"GetConsoleMode", decltype(::GetConsoleMode)> isConsole(
        [](HANDLE, DWORD*) { return TRUE; });
    const FakeApi<"WriteConsoleW", decltype(::WriteConsoleW)> console(
        [&](HANDLE, const void* text, DWORD length, DWORD*, void*) {
            written.append(static_cast<const wchar_t*>(text), length);
            return TRUE;
        });
    const FakeGetStdHandle output([](DWORD) { return reinterpret_cast<HANDLE>(8); });

    Report().Say(L"Installed: \x00FC.inf");

    EXPECT_EQ(L"Installed: \x00FC.inf\r\n", written);
}

TEST_F(ReportTest, WritesNothingWithoutAnOutput) {
    const FakeApi<"WriteFile", decltype(::WriteFile)> writeFile([](auto...) {
        ADD_FAILURE();
        return TRUE;
    });
    const FakeGetStdHandle noOutput([](DWORD) -> HANDLE { return INVALID_HANDLE_VALUE; });

    Report().Say(L"Installed");
}

}  // namespace
