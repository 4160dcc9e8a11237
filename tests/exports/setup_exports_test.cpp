#include <gmock/gmock.h>

#include "exports/expected_store.h"
#include "support/captured_output.h"
#include "support/fake_installer.h"
#include "support/loaded_library.h"
#include "support/recorded_runs.h"
#include "support/repair_setting.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

// One setup export and the texts that are its own.
struct Flow {
    const char* exportName;
    const char* resultLine;      // up to the number
    const char* ownName;         // the start of its other lines
    const char* missing;         // "exsit" or "exist"
    bool usesConsole;            // standard output rather than the debugger output
    const wchar_t* installed64;  // where Apple's software puts the INF; null for the newer packages
    const wchar_t* installed32;
    const wchar_t* staged64;  // below the staging folder
    const wchar_t* staged32;
    bool has32BitFiles;     // in the archive
    bool stagedForRemoval;  // whether a removal finds a staged INF
};

void PrintTo(const Flow& flow, std::ostream* out) {
    *out << flow.exportName;
}

constexpr Flow kFlows[] = {
    {"SetUpUSBDriver", "SetUpUsbDriver ret: ", "SetUpUsbDriver", "exsit", false,
     L"C:\\Program Files\\Common Files\\Apple\\Mobile Device Support\\Drivers\\usbaapl64.inf",
     L"C:\\Program Files\\Common Files\\Apple\\Mobile Device Support\\Drivers\\usbaapl.inf",
     L"\\usb\\x64\\usbaapl64.inf", L"\\usb\\x86\\usbaapl.inf", true, true},
    {"SetUpNetDriver", "SetUpNetDriver ret: ", "SetUpNetDriver", "exsit", false,
     L"C:\\Program Files\\Common Files\\Apple\\Mobile Device Support\\NetDrivers\\netaapl64.inf",
     L"C:\\Program Files\\Common Files\\Apple\\Mobile Device Support\\NetDrivers\\netaapl.inf",
     L"\\net\\x64\\netaapl64.inf", L"\\net\\x86\\netaapl.inf", true, false},
    {"SetUpKisDriver", "SetUpKisDriver ret: ", "SetUpKisDriver", "exist", true, nullptr, nullptr,
     L"\\applekis\\x64\\AppleKIS.inf", L"\\applekis\\x86\\AppleKIS.inf", false, true},
    {"SetUpRSMDriver", "SetUpRSMDriver ret: ", "SetUpRsmDriver", "exist", true, nullptr, nullptr,
     L"\\applersm\\x64\\AppleRSM.inf", L"\\applersm\\x86\\AppleRSM.inf", false, true},
    {"SetUpAppleUSBDeviceDriver", "SetUpAppleUSBDeviceDriver ret: ", "SetUpAppleUsbDeviceDriver",
     "exist", true, nullptr, nullptr, L"\\appleusbdevice\\x64\\AppleUsb.inf",
     L"\\appleusbdevice\\x86\\AppleUsb.inf", false, true},
};

std::string Narrow(const std::wstring& text) {
    return {text.begin(), text.end()};
}

constexpr const wchar_t* kAppleFolder = L"C:\\Program Files\\Common Files\\Apple";

// A copy of the library in a folder of its own, whose path holds blanks, with a recording stand-in
// for the installer tool beside it.
class SetupExports : public testing::Test {
protected:
    SetupExports() {
        std::filesystem::create_directories(host + L"\\files\\inf");
        std::filesystem::copy_file(LoadedLibrary::BuiltPath(), LibraryPath());
        for (const bool is64Bit : {true, false}) {
            std::filesystem::copy_file(ProgramFolder() + L"\\inf_installer_recorder.exe",
                                       Tool(is64Bit));
        }
        ::SetEnvironmentVariableW(L"MENDLOFT_RECORDER_FILE", Record().c_str());
    }
    ~SetupExports() override {
        ::SetEnvironmentVariableW(L"MENDLOFT_RECORDER_FILE", nullptr);
        ::SetEnvironmentVariableW(L"MENDLOFT_RECORDER_EXIT_CODE", nullptr);
        ::SetEnvironmentVariableW(L"MENDLOFT_RECORDER_WAIT_MS", nullptr);
        RemoveTree(kAppleFolder);
    }

    [[nodiscard]] std::wstring LibraryPath() const { return host + L"\\libmendloft.dll"; }
    [[nodiscard]] std::wstring Tool(bool is64Bit) const {
        return host + (is64Bit ? L"\\files\\inf\\InfInstallerx64.exe"
                               : L"\\files\\inf\\InfInstallerx86.exe");
    }
    [[nodiscard]] std::wstring Tool() const { return Tool(PrefixIs64Bit()); }
    [[nodiscard]] std::wstring Record() const { return temp.folder / L"record"; }
    [[nodiscard]] std::vector<RecordedRun> Runs() const {
        return ReadRecordedRuns(Record().c_str());
    }

    PrivateTemporaryDirectory temp;
    EmptyDriverStore store;
    TemporaryFolder parent;
    std::wstring host = parent / L"host application with blanks";
};

// --- Every flow x install or remove x with or without an installed INF x with or without a tool --

enum class Inf { kInstalled, kNotInstalled };
enum class ToolFile { kThere, kMissing };

class EverySetupExport
    : public SetupExports,
      public testing::WithParamInterface<std::tuple<Flow, std::int32_t, Inf, ToolFile>> {
protected:
    EverySetupExport() {
        if (ToolIs(ToolFile::kMissing)) std::filesystem::remove(Tool());
        if (InfIsInstalled()) WriteFileContent(InstalledInf());
    }

    [[nodiscard]] const Flow& TheFlow() const { return std::get<Flow>(GetParam()); }
    [[nodiscard]] std::int32_t Argument() const { return std::get<std::int32_t>(GetParam()); }
    [[nodiscard]] bool ToolIs(ToolFile state) const {
        return std::get<ToolFile>(GetParam()) == state;
    }
    [[nodiscard]] std::wstring InstalledInf() const {
        return PrefixIs64Bit() ? TheFlow().installed64 : TheFlow().installed32;
    }
    [[nodiscard]] bool InfIsInstalled() const {
        return TheFlow().installed64 != nullptr && std::get<Inf>(GetParam()) == Inf::kInstalled;
    }

    // The path that the flow chooses when no INF is installed.
    [[nodiscard]] std::wstring StagedInf() const {
        const bool remembersNothing = TheFlow().exportName == std::string_view("SetUpNetDriver") &&
                                      (PrefixIsTooOld() || Argument() == 0);
        if (remembersNothing) return L"";
        return (PrefixIsTooOld() ? L"" : temp.StagingFolder()) +
               (PrefixIs64Bit() ? TheFlow().staged64 : TheFlow().staged32);
    }
    [[nodiscard]] bool StagedInfIsThere() const {
        return !PrefixIsTooOld() && (PrefixIs64Bit() || TheFlow().has32BitFiles) &&
               (Argument() != 0 || TheFlow().stagedForRemoval);
    }
    [[nodiscard]] std::wstring ChosenInf() const {
        return InfIsInstalled() ? InstalledInf() : StagedInf();
    }

    [[nodiscard]] std::int32_t ExpectedResult() const {
        if (!InfIsInstalled() && !StagedInfIsThere()) return -1;
        return ToolIs(ToolFile::kMissing) ? -2 : 0;
    }

    // The flow's own lines, on either channel.
    [[nodiscard]] std::string ExpectedLines() const {
        const std::string own = TheFlow().ownName;
        const std::string missing = TheFlow().missing;
        std::string lines;
        if (TheFlow().usesConsole) lines += own + " inf path: " + Narrow(ChosenInf()) + "\n";
        if (ExpectedResult() == -1) {
            lines += own + " inf not " + missing + ": " + Narrow(ChosenInf()) + "\n";
        }
        if (ExpectedResult() == -2) {
            lines += own + " InfInstaller not " + missing + ": " + Narrow(Tool()) + "\n";
        }
        return lines;
    }

    // The library reports this after the tool has run, because Wine's configuration manager fails.
    [[nodiscard]] std::string ExpectedRescanLine() const {
        return ExpectedResult() == 0 ? "CM_Locate_DevNode failed: 13\n" : "";
    }
};

TEST_P(EverySetupExport, GivesItsResultMessagesAndCommandLine) {
    CapturedStandardOutput console;
    std::string debug;
    {
        const LoadedLibrary library(LibraryPath());
        const CapturedDebugOutput output(library.Module());

        EXPECT_EQ(ExpectedResult(), library.Call(TheFlow().exportName, Argument()));

        for (const std::wstring& message : output.messages) {
            if (!message.starts_with(L"CopyDrivers")) debug += Narrow(message);
        }
    }

    const std::string result = TheFlow().resultLine + std::to_string(ExpectedResult());
    EXPECT_EQ((TheFlow().usesConsole ? "" : ExpectedLines()) + result, debug);
    EXPECT_EQ((TheFlow().usesConsole ? ExpectedLines() : "") + ExpectedRescanLine(),
              console.Text());
    if (ExpectedResult() != 0) {
        EXPECT_THAT(Runs(), IsEmpty());
        return;
    }
    // Wine puts quotes around a program path with blanks once it has resolved it.
    const std::wstring option = Argument() == 0 ? L" -d \"" : L" -i \"";
    ASSERT_EQ(1u, Runs().size());
    EXPECT_EQ(L"\"" + Tool() + L"\"" + option + ChosenInf() + L"\"", Runs().front().commandLine);
    EXPECT_EQ(std::filesystem::current_path().wstring(), Runs().front().folder);
    EXPECT_NE("visible", Runs().front().console);
}

std::string RowName(const testing::TestParamInfo<EverySetupExport::ParamType>& row) {
    const auto& [flow, repair, inf, tool] = row.param;
    return std::string(flow.exportName) + (repair != 0 ? "Installs" : "Removes") +
           (inf == Inf::kInstalled ? "WithInstalledInf" : "WithoutInstalledInf") +
           (tool == ToolFile::kThere ? "AndTool" : "AndNoTool");
}

INSTANTIATE_TEST_SUITE_P(, EverySetupExport,
                         testing::Combine(testing::ValuesIn(kFlows), testing::Values(1, 0),
                                          testing::Values(Inf::kInstalled, Inf::kNotInstalled),
                                          testing::Values(ToolFile::kThere, ToolFile::kMissing)),
                         RowName);

// --- Other behaviour -----------------------------------------------------------------------------

class SetupExportsFromVistaOn : public SetupExports {
protected:
    void SetUp() override {
        if (PrefixIsTooOld()) GTEST_SKIP() << "this prefix has Windows XP, where nothing is staged";
    }

    CapturedStandardOutput console;
};

TEST_F(SetupExportsFromVistaOn, WaitForTheToolAndIgnoreItsExitCode) {
    ::SetEnvironmentVariableW(L"MENDLOFT_RECORDER_WAIT_MS", L"300");
    ::SetEnvironmentVariableW(L"MENDLOFT_RECORDER_EXIT_CODE", L"77");
    const LoadedLibrary library(LibraryPath());

    EXPECT_EQ(0, library.Call("SetUpUSBDriver", 1));

    ASSERT_EQ(1u, Runs().size());
    EXPECT_EQ(77u, Runs().front().exitCode);  // the tool writes it when it ends
}

TEST_F(SetupExportsFromVistaOn, ReuseTheStagedInfOnTheSecondCallInOneProcess) {
    const LoadedLibrary library(LibraryPath());
    ASSERT_EQ(0, library.Call("SetUpUSBDriver", 1));
    std::filesystem::remove(temp.ArchiveFile());

    EXPECT_EQ(0, library.Call("SetUpUSBDriver", 0));

    EXPECT_FALSE(Exists(temp.ArchiveFile()));
    EXPECT_EQ(2u, Runs().size());
}

TEST_F(SetupExportsFromVistaOn, StageAgainWhenTheLibraryIsReloaded) {
    ASSERT_EQ(0, LoadedLibrary(LibraryPath()).Call("SetUpUSBDriver", 1));
    const PrivateTemporaryDirectory another;

    EXPECT_EQ(0, LoadedLibrary(LibraryPath()).Call("SetUpUSBDriver", 1));

    EXPECT_TRUE(Exists(another.ArchiveFile()));
}

TEST_F(SetupExportsFromVistaOn, UseAnInfThatMendloftFolderStaged) {
    const LoadedLibrary library(LibraryPath());
    ASSERT_EQ(4, library.Call("MendloftFolder", 1));

    EXPECT_EQ(0, library.Call("SetUpNetDriver", 0));
}

TEST_F(SetupExportsFromVistaOn, RemoveForAnArgumentOf256) {
    const LoadedLibrary library(LibraryPath());

    EXPECT_EQ(0, library.Call("SetUpUSBDriver", 256));

    ASSERT_EQ(1u, Runs().size());
    EXPECT_THAT(Runs().front().commandLine, HasSubstr(L" -d \""));
}

TEST_F(SetupExportsFromVistaOn, ReportAToolThatIsNotAProgram) {
    std::filesystem::remove(Tool());
    WriteFileContent(Tool(), "no program");
    const LoadedLibrary library(LibraryPath());
    const CapturedDebugOutput output(library.Module());

    EXPECT_EQ(-3, library.Call("SetUpUSBDriver", 1));

    ASSERT_LE(2u, output.messages.size());
    EXPECT_EQ(L"CreateProcess failed (193).\n", output.messages[output.messages.size() - 2]);
    EXPECT_EQ(L"SetUpUsbDriver ret: -3", output.messages.back());
}

TEST_F(SetupExportsFromVistaOn, PassTheToolPathToWindowsWithoutQuotes) {
    const LoadedLibrary library(LibraryPath());
    const FakeInstaller installer(library.Module());

    EXPECT_EQ(0, library.Call("SetUpUSBDriver", 1));

    EXPECT_THAT(installer.commandLines,
                ElementsAre(Tool() + L" -i \"" + temp.StagingFolder() +
                            (PrefixIs64Bit() ? L"\\usb\\x64\\usbaapl64.inf\""
                                             : L"\\usb\\x86\\usbaapl.inf\"")));
}

TEST_F(SetupExportsFromVistaOn, WriteNothingWhenTheRescanSucceeds) {
    const LoadedLibrary library(LibraryPath());
    const FakeInstaller installer(library.Module());

    EXPECT_EQ(0, library.Call("SetUpUSBDriver", 1));

    EXPECT_THAT(installer.calls, ElementsAre("start", "wait", "locate", "reenumerate"));
    EXPECT_EQ("", console.Text());
}

TEST_F(SetupExportsFromVistaOn, ReportAFailedRescanAndStillSucceed) {
    const LoadedLibrary library(LibraryPath());
    FakeInstaller installer(library.Module());
    installer.reenumerateResult = 0x2F;

    EXPECT_EQ(0, library.Call("SetUpUSBDriver", 1));

    EXPECT_EQ("CM_Reenumerate_DevNode failed: 2f\n", console.Text());
}

TEST_F(SetupExportsFromVistaOn, LookForTheToolBesideTheLibraryAndNotTheProgram) {
    ASSERT_NE(ProgramFolder(), host);
    const LoadedLibrary library(LibraryPath());

    EXPECT_EQ(0, library.Call("SetUpUSBDriver", 1));

    EXPECT_THAT(Runs().front().commandLine, HasSubstr(host));
}

// Has the project's own installer tool in place of the recorder. Wine publishes an INF file under
// its original name.
//
// The package is staged beforehand, and the driver-store folders that come with that are removed.
// Wine 10 takes a package for installed when a folder there has its INF file. Windows keeps records
// of what it has installed.
class SetupExportsWithTheInstallerTool : public SetupExportsFromVistaOn {
protected:
    SetupExportsWithTheInstallerTool() {
        const std::wstring tools = ProgramFolder() + L"\\files\\inf";
        std::filesystem::remove_all(host + L"\\files\\inf");
        std::filesystem::copy(tools, host + L"\\files\\inf");
    }
    ~SetupExportsWithTheInstallerTool() override {
        std::filesystem::remove(Published());
        std::filesystem::remove(Neighbour());
    }

    [[nodiscard]] static std::wstring Published() {
        return PrefixIs64Bit() ? L"C:\\windows\\inf\\usbaapl64.inf"
                               : L"C:\\windows\\inf\\usbaapl.inf";
    }
    [[nodiscard]] static std::wstring Neighbour() { return L"C:\\windows\\inf\\oem77.inf"; }
};

TEST_F(SetupExportsWithTheInstallerTool, PublishThePackageAndRemoveItAgain) {
    WriteFileContent(Neighbour(), "[Version]\r\nSignature=\"$Windows NT$\"\r\n");
    const LoadedLibrary library(LibraryPath());
    ASSERT_EQ(4, library.Call("MendloftFolder", 1));
    store.Make();

    EXPECT_EQ(0, library.Call("SetUpUSBDriver", 1));
    EXPECT_TRUE(Exists(Published()));
    EXPECT_EQ(0, library.Call("SetUpUSBDriver", 0));
    EXPECT_FALSE(Exists(Published()));

    EXPECT_TRUE(Exists(Neighbour()));
}

class SetupExportsOn64Bit : public SetupExports {
protected:
    void SetUp() override {
        if (!PrefixIs64Bit()) GTEST_SKIP() << "the newer packages have no 32-bit files";
    }

    CapturedStandardOutput console;
};

TEST_F(SetupExportsOn64Bit, ReportAToolThatIsNotAProgramOnStandardOutput) {
    std::filesystem::remove(Tool());
    WriteFileContent(Tool(), "no program");
    const LoadedLibrary library(LibraryPath());

    EXPECT_EQ(-3, library.Call("SetUpKisDriver", 1));

    EXPECT_THAT(console.Text(), EndsWith("CreateProcess failed (193).\n"));
}

}  // namespace
