#include <winsock.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "common/text.h"
#include "exports/expected_store.h"
#include "install/library_folder.h"
#include "mendloftctl/expected_steps.h"
#include "mendloftctl/finished_program.h"
#include "mendloftctl/plan.h"
#include "mendloftctl/planned_calls.h"
#include "mendloftctl/program.h"
#include "mendloftctl/taken_steps.h"
#include "platform/os_probes.h"
#include "support/captured_output.h"
#include "support/loaded_library.h"
#include "support/repair_setting.h"
#include "telnet/loopback.h"

// What `mendloftctl --dry-run` plans for a call, compared step by step with the calls to Windows
// that the finished library makes during that call.

namespace {

using ctl::Plan;
using tools::ToUtf8;
using Json = nlohmann::json;

// The form in which plans and recorded calls are compared.
std::string Line(const std::string& action, const std::string& what, const std::string& to) {
    return action + "|" + what + (to.empty() ? "" : "|" + to) + "\n";
}

std::string Text(const Plan& plan) {
    std::string text;
    for (const ctl::Step& step : plan.steps)
        text += Line(step.action, ToUtf8(step.what), ToUtf8(step.to));
    return text;
}

std::string Text(const Json& dryRun) {
    std::string text;
    for (const Json& step : dryRun["steps"])
        text += Line(step["action"], step.value("what", ""), step.value("to", ""));
    return text;
}

std::string Text(const std::vector<RecordedCall>& calls) {
    std::string text;
    for (const std::wstring& step : StepsTaken(calls)) text += ToUtf8(step) + "\n";
    return text;
}

// The library in a folder of its own, with stand-ins for the installer tools beside it.
class PlanOutcome : public testing::Test {
protected:
    PlanOutcome() {
        CopyProgram(L"libmendloft.dll", Library());
        for (const bool is64Bit : {true, false})
            CopyProgram(L"inf_installer_recorder.exe", Tool(is64Bit));
    }
    ~PlanOutcome() override { RemoveTree(kAppleFolder); }

    static void CopyProgram(const std::wstring& name, const std::wstring& to) {
        std::filesystem::create_directories(std::filesystem::path(to).parent_path());
        std::filesystem::copy_file(ProgramFolder() + L"\\" + name, to);
    }

    [[nodiscard]] std::wstring Library() const { return host / L"libmendloft.dll"; }
    [[nodiscard]] std::wstring Tool(bool is64Bit) const {
        return host /
               (is64Bit ? L"files\\inf\\InfInstallerx64.exe" : L"files\\inf\\InfInstallerx86.exe");
    }

    [[nodiscard]] Plan PlanOf(const char* function, std::int32_t argument) const {
        const RTL_OSVERSIONINFOW windows = WindowsVersion();
        return ctl::MakePlan(*ctl::FindFunction(function), argument,
                             {.majorVersion = windows.dwMajorVersion,
                              .minorVersion = windows.dwMinorVersion,
                              .libraryFolder = host.Path(),
                              .commonFilesFolder = CommonFilesFolder(),
                              .temporaryDirectory = temp.folder.Path() + L"\\",
                              .archive = Archive()});
    }

    [[nodiscard]] std::vector<ctl::ArchiveItem> Archive() const {
        return ctl::ListDriverArchive(Library()).value();
    }

    // What the program prints for the same call.
    [[nodiscard]] Json DryRun(std::vector<std::string> arguments) const {
        return DryRun(std::move(arguments), Library());
    }
    [[nodiscard]] static Json DryRun(std::vector<std::string> arguments,
                                     const std::wstring& library) {
        arguments.insert(arguments.end(), {"--dry-run", "--json", "--library", ToUtf8(library)});
        std::string result;
        (void)ctl::RunProgram(arguments,
                              {.program = MendloftCtl(),
                               .printResult = [&](std::string_view text) { result += text; },
                               .printNote = [](std::string_view) {}});
        return Json::parse(result);
    }

    static constexpr const wchar_t* kAppleFolder = L"C:\\Program Files\\Common Files\\Apple";

    PrivateTemporaryDirectory temp;
    EmptyDriverStore store;
    TemporaryFolder host;
};

class PlanOutcomeOf : public PlanOutcome, public testing::WithParamInterface<PlannedCall> {
protected:
    PlanOutcomeOf() {
        const Found found = GetParam().found;
        if (found == Found::kFolders) FillStore();
        if (found == Found::kStagedFile)
            WriteFileContent(temp.StagingFolder() + L"\\usb\\x64\\usbaapl64.inf");
        if (found == Found::kInf || found == Found::kInfAndNoTool)
            WriteFileContent(InstalledInf(GetParam()));
        if (found == Found::kNoTool || found == Found::kInfAndNoTool)
            std::filesystem::remove(Tool(PrefixIs64Bit()));
    }

    static void FillStore() {
        ExpectedStore folders = StoreOfThisPrefix();
        folders.usb.push_back(folders.net);
        for (const std::wstring& folder : folders.usb) {
            WriteFileContent(EmptyDriverStore::Folder(folder) + L"\\file");
            WriteFileContent(EmptyDriverStore::Folder(folder) + L"\\folder\\file");
        }
    }

    struct Outcome {
        std::vector<RecordedCall> calls;
        std::int32_t code;
    };

    // While a crash reporter runs, and a program whose name only begins with that of one.
    [[nodiscard]] Outcome CallTheLibrary() const {
        CopyProgram(L"sleeper.exe", host / L"WerFault.exe");
        CopyProgram(L"sleeper.exe", host / L"WerFaultSecure.exe");
        const ChildProcess crashReporter(host / L"WerFault.exe");
        const ChildProcess bystander(host / L"WerFaultSecure.exe");
        const CapturedStandardOutput console;
        const LoadedLibrary library(Library());
        const RecordedCalls recorded(library.Module());
        const std::int32_t code = library.Call(GetParam().function, GetParam().argument);
        return {recorded.Calls(), code};
    }

    // The arguments with which `mendloftctl` plans the same call.
    [[nodiscard]] static std::vector<std::string> CommandLine() {
        const ctl::LibraryFunction& function = *ctl::FindFunction(GetParam().function);
        const bool repairs = GetParam().argument != 0;
        if (function.package.empty()) return {repairs ? "repair" : "remove"};
        std::vector<std::string> command{"setup", std::string(function.package)};
        if (!repairs) command.emplace_back("--remove");
        return command;
    }
};

TEST_P(PlanOutcomeOf, IsWhatTheLibraryDoes) {
    const Plan plan = PlanOf(GetParam().function, GetParam().argument);

    const Outcome outcome = CallTheLibrary();

    EXPECT_EQ(Text(plan), Text(outcome.calls));
    EXPECT_EQ(plan.code, outcome.code);
}

// The plan and the library share some of their code, so a mistake there would be in both.
TEST_P(PlanOutcomeOf, IsWhatIsExpected) {
    const Plan plan = PlanOf(GetParam().function, GetParam().argument);

    EXPECT_EQ(ToUtf8(ExpectedSteps(GetParam(), {host.Path(), temp.StagingFolder(), Archive()})),
              Text(plan));
    EXPECT_EQ(GetParam().Expected().code, plan.code);
}

TEST_P(PlanOutcomeOf, IsWhatTheDryRunPrints) {
    const Plan plan = PlanOf(GetParam().function, GetParam().argument);

    const Json dryRun = DryRun(CommandLine());

    EXPECT_EQ(Text(plan), Text(dryRun));
    EXPECT_EQ(plan.code, dryRun["expected"]["code"].get<std::int32_t>());
}

INSTANTIATE_TEST_SUITE_P(, PlanOutcomeOf, testing::ValuesIn(PlannedCalls()), RowName);

// The library in the root of a drive, the one folder whose path ends with a backslash.
class PlanOutcomeInTheRootOfADrive : public PlanOutcome {
protected:
    PlanOutcomeInTheRootOfADrive() {
        std::filesystem::copy_file(Library(), kLibrary);
        std::filesystem::copy(host / L"files", kTools, std::filesystem::copy_options::recursive);
    }
    ~PlanOutcomeInTheRootOfADrive() override {
        std::filesystem::remove(kLibrary);
        RemoveTree(kTools);
    }

    static constexpr const wchar_t* kLibrary = L"C:\\libmendloft.dll";
    static constexpr const wchar_t* kTools = L"C:\\files";
};

TEST_F(PlanOutcomeInTheRootOfADrive, IsWhatTheLibraryDoes) {
    const std::string dryRun = Text(DryRun({"setup", "usb"}, kLibrary));

    const std::string taken = [this] {
        CopyProgram(L"sleeper.exe", host / L"WerFault.exe");
        const ChildProcess crashReporter(host / L"WerFault.exe");
        const CapturedStandardOutput console;
        const LoadedLibrary library(kLibrary);
        const RecordedCalls recorded(library.Module());
        (void)library.Call("SetUpUSBDriver", 1);
        return Text(recorded.Calls());
    }();

    EXPECT_THAT(dryRun, testing::HasSubstr("run|C:\\\\files\\inf\\InfInstaller"));
    EXPECT_EQ(dryRun, taken);
}

class PlanOutcomeOfAPortTest : public PlanOutcome {
protected:
    void ExpectThatItIsWhatTheLibraryDoes(std::uint16_t port, bool somebodyListens) const {
        const Plan plan = PlanOf("AMDPortTest", port);
        const LoadedLibrary library(Library());
        const RecordedCalls recorded(library.Module());

        EXPECT_EQ(somebodyListens, library.PortTest(port));

        EXPECT_EQ(Text(plan), Text(recorded.Calls()));
        EXPECT_EQ(std::nullopt, plan.code);
        EXPECT_EQ(Text(plan), Text(DryRun({"port", std::to_string(port)})));
    }
};

TEST_F(PlanOutcomeOfAPortTest, IsWhatTheLibraryDoesWhereSomebodyListens) {
    const LoopbackListener listener;

    ExpectThatItIsWhatTheLibraryDoes(listener.Port(), true);
}

TEST_F(PlanOutcomeOfAPortTest, IsWhatTheLibraryDoesWhereNobodyListens) {
    ExpectThatItIsWhatTheLibraryDoes(ClosedPort(), false);
}

}  // namespace
