#include "finished_program.h"

#include <winsock.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "mendloftctl/private_folder.h"
#include "support/fake_os.h"
#include "support/recorded_runs.h"
#include "support/repair_setting.h"
#include "telnet/loopback.h"

namespace {

using Json = nlohmann::json;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

std::vector<std::wstring> PrivateFolders() {
    std::vector<std::wstring> names;
    for (const std::wstring& name : Tree(ctl::PrivateFolderParent())) {
        if (name.starts_with(L"mendloft-") && !name.starts_with(L"mendloft-test-"))
            names.push_back(name);
    }
    return names;
}

// The finished program beside the finished library.
class FinishedProgram : public testing::Test {
protected:
    PrivateTemporaryDirectory temp;
    EmptyDriverStore store;
};

TEST_F(FinishedProgram, RepairsTheFolders) {
    const ProgramRun run = RunMendloftCtl(L"repair");

    EXPECT_EQ(0U, run.status);
    EXPECT_EQ(
        "MendloftFolder(1) returned 4: The driver-store folders were created, secured and filled, "
        "as far as Windows allowed it.\n",
        run.output);
    EXPECT_EQ("", run.notes);
    EXPECT_THAT(EmptyDriverStore::Content(), Contains(EndsWith(L".sys")));
    EXPECT_TRUE(Exists(temp.ArchiveFile()));
}

TEST_F(FinishedProgram, RemovesTheFolders) {
    const ProgramRun run = RunMendloftCtl(L"remove");

    EXPECT_EQ(0U, run.status);
    EXPECT_THAT(run.output, StartsWith("MendloftFolder(0) returned 0: "));
    EXPECT_THAT(EmptyDriverStore::Content(), IsEmpty());
}

TEST_F(FinishedProgram, KeepsAnIsolatedCallOutOfTheUsersTemporaryDirectory) {
    const std::vector<std::wstring> before = PrivateFolders();

    const ProgramRun run = RunMendloftCtl(L"repair --isolated --json");

    EXPECT_EQ(0U, run.status);
    EXPECT_EQ(4, Json::parse(run.output)["code"]);
    EXPECT_TRUE(Json::parse(run.output)["isolated"]);
    EXPECT_THAT(Tree(temp.folder.Path()), IsEmpty());
    EXPECT_EQ(before, PrivateFolders());
    EXPECT_THAT(EmptyDriverStore::Content(), Contains(EndsWith(L".sys")));
}

TEST_F(FinishedProgram, ReportsAFailureOfTheCall) {
    WriteFileContent(temp.folder / L"mendloft");  // a file where the staging folder would be

    const ProgramRun run = RunMendloftCtl(L"repair --json");

    EXPECT_EQ(10U, run.status);
    EXPECT_EQ(1, Json::parse(run.output)["code"]);
    EXPECT_FALSE(Json::parse(run.output)["success"]);
}

TEST_F(FinishedProgram, ShowsTheLinesOfBothChannels) {
    const ProgramRun run = RunMendloftCtl(L"setup net --remove --trace");

    EXPECT_EQ(12U, run.status);
    EXPECT_EQ(
        "[debugger output] SetUpNetDriver inf not exsit: \n"
        "[debugger output] SetUpNetDriver ret: -1\n",
        run.notes);
    EXPECT_THAT(run.output, StartsWith("SetUpNetDriver(0) returned -1: "));
}

TEST_F(FinishedProgram, ShowsNoLinesByDefault) {
    EXPECT_EQ("", RunMendloftCtl(L"setup kis --remove").notes);
}

TEST_F(FinishedProgram, PlansWithoutChangingAnything) {
    const ProgramRun run = RunMendloftCtl(L"setup usb --dry-run --json");

    EXPECT_EQ(0U, run.status);
    EXPECT_TRUE(Json::parse(run.output)["dry_run"]);
    EXPECT_EQ(0, Json::parse(run.output)["expected"]["code"]);
    EXPECT_THAT(Tree(temp.folder.Path()), IsEmpty());
    EXPECT_THAT(EmptyDriverStore::Content(), IsEmpty());
}

// The plan and the library share the order of the steps. This compares what is planned with what is
// done.
TEST_F(FinishedProgram, PlansTheFilesThatARepairThenCreates) {
    const Json plan = Json::parse(RunMendloftCtl(L"repair --dry-run --json").output);
    std::vector<std::wstring> planned;
    for (const Json& step : plan["steps"]) {
        const std::string path = step.value("to", step.value("what", ""));
        const bool makes = step["action"] == "create folder" || step["action"] == "write file" ||
                           step["action"] == "copy file";
        if (makes && !step.value("note", "").starts_with("copies nothing"))
            planned.push_back(FromUtf8(path));
    }

    ASSERT_EQ(0U, RunMendloftCtl(L"repair").status);

    std::vector<std::wstring> created{temp.StagingFolder()};
    for (const std::wstring& name : Tree(temp.StagingFolder()))
        created.push_back(temp.StagingFolder() + L"\\" + name);
    for (const std::wstring& name : EmptyDriverStore::Content())
        created.push_back(EmptyDriverStore::Folder(name));
    EXPECT_THAT(planned, testing::UnorderedElementsAreArray(created));
}

TEST_F(FinishedProgram, PlansTheIsolatedCallInItsPrivateFolder) {
    const ProgramRun run = RunMendloftCtl(L"setup kis --dry-run --isolated");

    EXPECT_THAT(run.output, HasSubstr("1. create folder"));
    EXPECT_THAT(run.output, HasSubstr("Temp\\mendloft-(32 random hexadecimal digits)\\mendloft\\"));
    EXPECT_THAT(run.output, EndsWith("Nothing was done.\n"));
}

TEST_F(FinishedProgram, DiagnosesAsJson) {
    const ProgramRun run = RunMendloftCtl(L"diagnose --json");

    const Json json = Json::parse(run.output);
    EXPECT_EQ(0U, run.status);
    EXPECT_THAT(json["windows"]["version"].get<std::string>(), StartsWith(PrefixVersion()));
    EXPECT_EQ(PrefixIs64Bit(), json["windows"]["is_64_bit"]);
    EXPECT_TRUE(json["library"]["exists"]);
    EXPECT_THAT(json["packages"], SizeIs(5));
}

TEST_F(FinishedProgram, DiagnosesAsText) {
    EXPECT_THAT(RunMendloftCtl(L"diagnose").output,
                StartsWith("Windows           " + PrefixVersion()));
}

TEST_F(FinishedProgram, PlansItsDiagnosis) {
    EXPECT_THAT(RunMendloftCtl(L"diagnose --dry-run").output,
                HasSubstr("the state of the service Apple Mobile Device Service"));
}

TEST_F(FinishedProgram, ReportsWrongArgumentsOnStandardError) {
    const ProgramRun run = RunMendloftCtl(L"mend");

    EXPECT_EQ(2U, run.status);
    EXPECT_EQ("", run.output);
    EXPECT_THAT(run.notes, StartsWith("mendloftctl: "));
}

TEST_F(FinishedProgram, AcceptsAPathOutsideTheCodePage) {
    const TemporaryFolder folder;
    std::filesystem::copy_file(ScriptedLibrary(), folder / L"\u00e9 \u4e2d.dll");

    const ProgramRun run =
        RunMendloftCtl(L"repair --json --library \"" + (folder / L"\u00e9 \u4e2d.dll\""));

    EXPECT_EQ(0U, run.status);
    EXPECT_THAT(Json::parse(run.output)["library"].get<std::string>(),
                EndsWith("\xC3\xA9 \xE4\xB8\xAD.dll"));
}

TEST_F(FinishedProgram, SurvivesACrashOfTheLibrary) {
    const Script script(L"crash");

    const ProgramRun run = RunMendloftCtl(L"repair --library \"" + ScriptedLibrary() + L"\"");

    EXPECT_EQ(6U, run.status);
    EXPECT_EQ(
        "mendloftctl: MendloftFolder crashed: its process ended with 0xC0000005. Run it again with "
        "--trace.\n",
        run.notes);
}

TEST_F(FinishedProgram, EndsAnIsolatedCallAtItsTimeLimitAndCleansUp) {
    const std::vector<std::wstring> before = PrivateFolders();
    const Script script(L"file left;sleep 60000");

    const ProgramRun run =
        RunMendloftCtl(L"repair --isolated --timeout 1 --library \"" + ScriptedLibrary() + L"\"");

    EXPECT_EQ(5U, run.status);
    EXPECT_EQ(
        "mendloftctl: MendloftFolder was ended after 1 seconds, with every process that it had "
        "started. Allow more time with --timeout.\n",
        run.notes);
    EXPECT_EQ(before, PrivateFolders());
}

TEST_F(FinishedProgram, GivesAnIsolatedCallAFolderAndDeletesItAfterwards) {
    const Script script(L"file made;temp");

    const ProgramRun run =
        RunMendloftCtl(L"repair --isolated --trace --library \"" + ScriptedLibrary() + L"\"");

    ASSERT_THAT(run.notes, StartsWith("[standard output] C:\\windows\\Temp\\mendloft-"));
    const std::string line = run.notes.substr(0, run.notes.find('\n'));
    EXPECT_FALSE(Exists(FromUtf8(line.substr(line.find("C:")))));
}

// ---- the installer tool's stand-in beside a copy of the library

class FinishedSetup : public FinishedProgram {
protected:
    FinishedSetup() {
        std::filesystem::create_directories(library / L"files\\inf");
        std::filesystem::copy_file(ProgramFolder() + L"\\libmendloft.dll", Library());
        for (const wchar_t* name : {L"InfInstallerx64.exe", L"InfInstallerx86.exe"}) {
            std::filesystem::copy_file(ProgramFolder() + L"\\inf_installer_recorder.exe",
                                       library / L"files\\inf\\" + name);
        }
        ::SetEnvironmentVariableW(L"MENDLOFT_RECORDER_FILE", Record().c_str());
    }
    ~FinishedSetup() override { ::SetEnvironmentVariableW(L"MENDLOFT_RECORDER_FILE", nullptr); }

    [[nodiscard]] std::wstring Library() const { return library / L"libmendloft.dll"; }
    [[nodiscard]] std::wstring Record() const { return library / L"record"; }
    [[nodiscard]] ProgramRun Run(const std::wstring& arguments) const {
        return RunMendloftCtl(arguments + L" --library \"" + Library() + L"\"");
    }

    TemporaryFolder library;
};

TEST_F(FinishedSetup, RunsTheToolWithTheStagedInf) {
    const ProgramRun run = Run(L"setup usb");

    EXPECT_EQ(0U, run.status);
    const std::vector<RecordedRun> tools = ReadRecordedRuns(Record().c_str());
    ASSERT_THAT(tools, SizeIs(1));
    EXPECT_THAT(tools[0].commandLine, HasSubstr(L" -i \"" + temp.StagingFolder() + L"\\usb\\"));
}

TEST_F(FinishedSetup, RunsTheToolAsPlanned) {
    const Json plan = Json::parse(Run(L"setup usb --remove --dry-run --json").output);
    std::wstring planned;
    for (const Json& step : plan["steps"]) {
        if (step["action"] == "run") planned = FromUtf8(step["what"].get<std::string>());
    }

    ASSERT_EQ(0U, Run(L"setup usb --remove").status);

    const std::vector<RecordedRun> tools = ReadRecordedRuns(Record().c_str());
    ASSERT_THAT(tools, SizeIs(1));
    EXPECT_EQ(planned, tools[0].commandLine);
}

TEST_F(FinishedSetup, LabelsTheConsoleLinesOfTheLibrary) {
    const ProgramRun run = Run(L"setup kis --trace --isolated");

    EXPECT_THAT(run.notes, StartsWith("[standard output] SetUpKisDriver inf path: "));
    EXPECT_THAT(run.notes, HasSubstr("[debugger output] SetUpKisDriver ret: "));
}

TEST_F(FinishedSetup, ReportsAMissingTool) {
    std::filesystem::remove_all(library / L"files");

    const ProgramRun run = Run(L"setup usb --json");

    EXPECT_EQ(13U, run.status);
    EXPECT_EQ(-2, Json::parse(run.output)["code"]);
}

// ---- ports

TEST_F(FinishedProgram, FindsAListener) {
    const LoopbackListener listener;

    const ProgramRun run = RunMendloftCtl(L"port " + std::to_wstring(listener.Port()));

    EXPECT_EQ(0U, run.status);
    EXPECT_THAT(run.output, HasSubstr("returned 1: A program on this machine accepts"));
}

TEST_F(FinishedProgram, FindsNoListener) {
    const ClosedPort port;

    const ProgramRun run = RunMendloftCtl(L"port " + std::to_wstring(port) + L" --json");

    EXPECT_EQ(15U, run.status);
    EXPECT_EQ(0, Json::parse(run.output)["code"]);
}

}  // namespace
