#include <gmock/gmock.h>

#include <array>
#include <chrono>

#include "inf_installer/exit_code.h"
#include "inf_installer/inf_test.h"
#include "support/fake_os.h"
#include "support/recorded_runs.h"
#include "support/wine.h"

namespace {

using installer::ExitCode;
using installer::ReadBytes;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

// The finished programs, started with command lines as people and the setup flows write them.
class FinishedProgram : public InfTest {
protected:
    FinishedProgram() {
        for (const wchar_t* folder :
             {L"\\host app", L"\\host app\\files", L"\\host app\\files\\inf"}) {
            ::CreateDirectoryW((Folder() + folder).c_str(), nullptr);
        }
    }

    [[nodiscard]] static std::wstring ToolFolder() {
        return Folder() + L"\\host app\\files\\inf\\";
    }

    // Copies a built program into a folder with blanks in its path; returns the copy's path.
    static std::wstring Place(const std::wstring& built, const std::wstring& name) {
        std::array<wchar_t, MAX_PATH> self{};
        ::GetModuleFileNameW(nullptr, self.data(), static_cast<DWORD>(self.size()));
        const std::wstring path = self.data();
        const std::wstring source = path.substr(0, path.rfind(L'\\') + 1) + built;
        EXPECT_TRUE(::CopyFileW(source.c_str(), (ToolFolder() + name).c_str(), FALSE));
        return ToolFolder() + name;
    }

    // Starts a program with a command line like that of the setup flows, which begins with the
    // unquoted path of the program, and returns its exit code. The path is passed separately as
    // well, because Wine, unlike Windows, quotes a program that it has to find in the command line.
    static DWORD Run(const std::wstring& program, const std::wstring& arguments,
                     HANDLE output = nullptr) {
        return Start(program.c_str(), program + arguments, output);
    }

    static DWORD Start(const wchar_t* program, std::wstring commandLine, HANDLE output) {
        STARTUPINFOW startUp{};
        startUp.cb = sizeof(startUp);
        if (output != nullptr) {
            startUp.dwFlags = STARTF_USESTDHANDLES;
            startUp.hStdOutput = output;
        }
        PROCESS_INFORMATION process{};
        if (!::CreateProcessW(program, commandLine.data(), nullptr, nullptr, output != nullptr,
                              CREATE_NO_WINDOW, nullptr, nullptr, &startUp, &process)) {
            ADD_FAILURE() << "not started: " << ::GetLastError();
            return 0xFFFF;
        }
        const UniqueHandle handle(process.hProcess);
        const UniqueHandle thread(process.hThread);
        ::WaitForSingleObject(handle.Get(), INFINITE);
        DWORD exitCode = 0xFFFF;
        ::GetExitCodeProcess(handle.Get(), &exitCode);
        return exitCode;
    }
};

constexpr DWORD Code(ExitCode code) {
    return static_cast<DWORD>(code);
}

class InstallerTool : public FinishedProgram {
protected:
    InstallerTool()
        : tool_(PrefixIs64Bit()
                    ? Place(L"files\\inf\\InfInstallerx64.exe", L"InfInstallerx64.exe")
                    : Place(L"files\\inf\\InfInstallerx86.exe", L"InfInstallerx86.exe")),
          inf_(WritePackage(L"stand in\\stand_in.inf", PackageText())) {}

    DWORD Install(const std::wstring& inf) { return Run(tool_, L" -i \"" + inf + L"\""); }
    DWORD Remove(const std::wstring& inf) { return Run(tool_, L" -d \"" + inf + L"\""); }

    std::wstring tool_;
    std::wstring inf_;
};

TEST_F(InstallerTool, PublishesThePackage) {
    EXPECT_EQ(Code(ExitCode::kDone), Install(inf_));

    EXPECT_THAT(NewlyPublished(), ElementsAre(Pair(testing::_, PackageText())));
}

TEST_F(InstallerTool, IsFoundByTheSystemInTheCommandLineOfTheSetupFlows) {
    EXPECT_EQ(Code(ExitCode::kDone), Start(nullptr, tool_ + L" -i \"" + inf_ + L"\"", nullptr));

    EXPECT_EQ(1u, NewlyPublished().size());
}

TEST_F(InstallerTool, PublishesAPackageOnceHoweverOftenItIsInstalled) {
    Install(inf_);

    EXPECT_EQ(Code(ExitCode::kDone), Install(inf_));

    EXPECT_EQ(1u, NewlyPublished().size());
}

TEST_F(InstallerTool, RemovesExactlyThePackageAndLeavesItsNeighbours) {
    Install(inf_);
    Install(WritePackage(L"version two\\stand_in.inf", PackageText("version two")));
    Install(WritePackage(L"neighbour\\neighbour.inf", PackageText("neighbour")));
    Contents expected = Published();
    ASSERT_EQ(PublishedBefore().size() + 3, expected.size());
    std::erase_if(expected, [](const auto& inf) { return inf.second == PackageText(); });

    EXPECT_EQ(Code(ExitCode::kDone), Remove(inf_));

    EXPECT_EQ(expected, Published());
}

TEST_F(InstallerTool, RemovesAPackageThatWindowsPublishedUnderANumber) {
    if (WineVersion() > 8) GTEST_SKIP() << "Wine 10 looks in its driver store for the number";
    Install(inf_);
    const std::wstring second =
        WritePackage(L"version two\\stand_in.inf", PackageText("version two"));
    Install(second);
    ASSERT_THAT(NewlyPublished(),
                Contains(Pair(testing::StartsWith(L"oem"), PackageText("version two"))));

    EXPECT_EQ(Code(ExitCode::kDone), Remove(second));

    EXPECT_THAT(NewlyPublished(), ElementsAre(Pair(testing::_, PackageText())));
}

TEST_F(InstallerTool, RemovesThePackageOfAnInfInAnotherFolder) {
    Install(inf_);

    EXPECT_EQ(Code(ExitCode::kDone),
              Remove(WritePackage(L"elsewhere\\stand_in.inf", PackageText())));

    EXPECT_EQ(PublishedBefore(), Published());
}

TEST_F(InstallerTool, RemovesNothingForAnotherVersionOfTheInf) {
    Install(inf_);

    EXPECT_EQ(Code(ExitCode::kDone),
              Remove(WritePackage(L"elsewhere\\stand_in.inf", PackageText("new"))));

    EXPECT_EQ(1u, NewlyPublished().size());
}

TEST_F(InstallerTool, InstallsAgainAfterARemoval) {
    Install(inf_);
    Remove(inf_);

    EXPECT_EQ(Code(ExitCode::kDone), Install(inf_));

    EXPECT_EQ(1u, NewlyPublished().size());
}

TEST_F(InstallerTool, AcceptsAPathInAnyScript) {
    const std::wstring inf = WritePackage(L"\x00FC \x4F60\\stand_in.inf", PackageText());

    EXPECT_EQ(Code(ExitCode::kDone), Install(inf));
    EXPECT_EQ(Code(ExitCode::kDone), Remove(inf));

    EXPECT_EQ(PublishedBefore(), Published());
}

TEST_F(InstallerTool, RefusesADamagedInf) {
    EXPECT_EQ(Code(ExitCode::kInfUnreadable),
              Install(WritePackage(L"damaged.inf", "no INF at all [")));

    EXPECT_EQ(PublishedBefore(), Published());
}

TEST_F(InstallerTool, RefusesAMissingInf) {
    EXPECT_EQ(Code(ExitCode::kInfUnreadable), Install(Folder() + L"\\missing.inf"));
}

TEST_F(InstallerTool, CannotInstallAPackageWithoutItsCatalog) {
    const std::wstring inf = WritePackage(L"stand_in.inf", PackageText("", "missing.cat"));

    EXPECT_EQ(Code(ExitCode::kRefused), Install(inf));

    EXPECT_EQ(PublishedBefore(), Published());
}

TEST_F(InstallerTool, CannotInstallAPackageWithoutItsDriver) {
    ::DeleteFileW(DriverOf(inf_).c_str());

    EXPECT_EQ(Code(ExitCode::kRefused), Install(inf_));

    EXPECT_EQ(PublishedBefore(), Published());
}

TEST_F(InstallerTool, ReportsWrongUsage) {
    EXPECT_EQ(Code(ExitCode::kWrongUsage), Run(tool_, L""));
    EXPECT_EQ(Code(ExitCode::kWrongUsage), Run(tool_, L" -x"));
}

TEST_F(InstallerTool, PrintsItsUsageForHelp) {
    const std::wstring path = Folder() + L"\\output.txt";
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    UniqueFile output(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable,
                                    CREATE_ALWAYS, 0, nullptr));

    EXPECT_EQ(Code(ExitCode::kDone), Run(tool_, L" --help", output.Get()));

    output.Reset();
    const std::string text = ReadBytes(path).value_or("");
    EXPECT_THAT(text, testing::StartsWith("Installs or removes one driver package.\r\n"));
    EXPECT_THAT(text, HasSubstr("\r\n  -d \"<inf>\""));
}

TEST_F(InstallerTool, WritesALogOnRequest) {
    const std::wstring log = Folder() + L"\\a log.txt";

    EXPECT_EQ(Code(ExitCode::kDone), Run(tool_, L" --log \"" + log + L"\" -i \"" + inf_ + L"\""));

    const std::string text = ReadBytes(log).value_or("");
    EXPECT_THAT(text,
                HasSubstr(".exe --log \"C:\\inf installer test\\a log.txt\" -i \"C:\\inf installer "
                          "test\\stand in\\stand_in.inf\"\r\n"));
    EXPECT_THAT(text, HasSubstr("It is published as stand_in.inf.\r\n"));
}

TEST_F(InstallerTool, WorksWhenItsLogCannotBeWritten) {
    EXPECT_EQ(Code(ExitCode::kDone),
              Run(tool_, L" --log C:\\nowhere\\log.txt -i \"" + inf_ + L"\""));

    EXPECT_EQ(1u, NewlyPublished().size());
}

TEST_F(InstallerTool, ChangesNothingInADryRun) {
    EXPECT_EQ(Code(ExitCode::kDone), Run(tool_, L" --dry-run -i \"" + inf_ + L"\""));
    EXPECT_THAT(NewlyPublished(), IsEmpty());

    Install(inf_);
    EXPECT_EQ(Code(ExitCode::kDone), Run(tool_, L" --dry-run -d \"" + inf_ + L"\""));
    EXPECT_EQ(1u, NewlyPublished().size());
}

TEST_F(InstallerTool, RefusesToWorkAsA32BitProgramOn64BitWindows) {
    if (!PrefixIs64Bit()) GTEST_SKIP() << "only 64-bit Windows runs programs of the other bitness";
    const std::wstring other = Place(L"files\\inf\\InfInstallerx86.exe", L"InfInstallerx86.exe");

    EXPECT_EQ(Code(ExitCode::kRefused), Run(other, L" -i \"" + inf_ + L"\""));

    EXPECT_EQ(PublishedBefore(), Published());
}

class Recorder : public FinishedProgram {
protected:
    Recorder() : program_(Place(L"inf_installer_recorder.exe", L"InfInstallerx64.exe")) {
        Set(L"MENDLOFT_RECORDER_FILE", RecordPath().c_str());
    }
    ~Recorder() override {
        for (const wchar_t* name : {L"MENDLOFT_RECORDER_FILE", L"MENDLOFT_RECORDER_WAIT_MS",
                                    L"MENDLOFT_RECORDER_EXIT_CODE"}) {
            Set(name, nullptr);
        }
    }

    static void Set(const wchar_t* name, const wchar_t* value) {
        ::SetEnvironmentVariableW(name, value);
    }
    static std::wstring RecordPath() { return Folder() + L"\\record.txt"; }
    static std::vector<RecordedRun> Runs() { return ReadRecordedRuns(RecordPath().c_str()); }

    std::wstring program_;
};

TEST_F(Recorder, RecordsTheRawCommandLineAndTheFolder) {
    Run(program_, L" -i \"C:\\\x00FC: b\\x.inf\"");

    ASSERT_EQ(1u, Runs().size());
    EXPECT_EQ(
        L"C:\\inf installer test\\host app\\files\\inf\\InfInstallerx64.exe -i \"C:\\\x00FC: "
        L"b\\x.inf\"",
        Runs()[0].commandLine);
    std::array<wchar_t, MAX_PATH> folder{};
    ::GetCurrentDirectoryW(static_cast<DWORD>(folder.size()), folder.data());
    EXPECT_EQ(folder.data(), Runs()[0].folder);
}

TEST_F(Recorder, IsFoundByTheSystemInTheCommandLineOfTheSetupFlows) {
    Start(nullptr, program_ + L" -i \"C:\\x.inf\"", nullptr);

    ASSERT_EQ(1u, Runs().size());
    EXPECT_THAT(Runs()[0].commandLine, testing::EndsWith(L" -i \"C:\\x.inf\""));
}

TEST_F(Recorder, RecordsNoVisibleWindowAndPlainStartUpFlags) {
    Run(program_, L"");

    ASSERT_EQ(1u, Runs().size());
    EXPECT_NE("visible", Runs()[0].console);
    EXPECT_EQ(0u, Runs()[0].startUpFlags);
}

TEST_F(Recorder, EndsWithTheGivenExitCodeAndRecordsIt) {
    Set(L"MENDLOFT_RECORDER_EXIT_CODE", L"7");

    EXPECT_EQ(7u, Run(program_, L""));

    ASSERT_EQ(1u, Runs().size());
    EXPECT_EQ(7u, Runs()[0].exitCode);
}

TEST_F(Recorder, WaitsForTheGivenTime) {
    Set(L"MENDLOFT_RECORDER_WAIT_MS", L"300");
    const auto start = std::chrono::steady_clock::now();

    Run(program_, L"");

    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
}

TEST_F(Recorder, AppendsARecordForEveryRun) {
    Run(program_, L" -i \"a\"");
    Run(program_, L" -d \"b\"");

    ASSERT_EQ(2u, Runs().size());
    EXPECT_EQ(program_ + L" -i \"a\"", Runs()[0].commandLine);
    EXPECT_EQ(program_ + L" -d \"b\"", Runs()[1].commandLine);
}

}  // namespace
