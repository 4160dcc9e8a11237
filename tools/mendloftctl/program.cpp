#include "mendloftctl/program.h"

#include <windows.h>

#include <array>
#include <optional>

#include <nlohmann/json.hpp>

#include "common/elevation.h"
#include "common/paths.h"
#include "common/system_text.h"
#include "common/text.h"
#include "install/library_folder.h"
#include "mendloftctl/arguments.h"
#include "mendloftctl/call_report.h"
#include "mendloftctl/diagnosis.h"
#include "mendloftctl/driver_archive.h"
#include "mendloftctl/exit_status.h"
#include "mendloftctl/interruption.h"
#include "mendloftctl/library_call.h"
#include "mendloftctl/plan.h"
#include "mendloftctl/private_folder.h"
#include "platform/os_probes.h"
#include "platform/paths.h"
#include "staging/driver_staging.h"

namespace ctl {

using tools::FolderOf;
using tools::FullPath;
using tools::IsElevated;
using tools::SystemText;
using tools::ToUtf8;

namespace {

using Json = nlohmann::ordered_json;

constexpr const wchar_t* kLibraryName = L"libmendloft.dll";

// Replaces what is not valid UTF-8, instead of throwing as the library for JSON does by default.
// One broken character must not cost the whole document.
std::string Dump(const Json& json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

// One run of the program, after its arguments were read. The result goes to standard output and
// everything else to standard error. With --json an error goes to both.
class Program {
public:
    Program(Arguments arguments, const Surroundings& surroundings)
        : arguments_(std::move(arguments)),
          surroundings_(surroundings),
          library_(arguments_.library.empty()
                       ? std::wstring(FolderOf(surroundings.program)) + kLibraryName
                       : FullPath(arguments_.library)) {}

    // A plan and a diagnosis come before the check of rights, because they change nothing.
    ExitStatus Run() {
        if (arguments_.function == nullptr) return arguments_.dryRun ? PlanDiagnosis() : Diagnose();
        if (!FileOrFolderExists(library_)) {
            return Fail(ExitStatus::kLibraryUnusable,
                        "There is no " + ToUtf8(library_) +
                            ": put mendloftctl.exe beside libmendloft.dll, or name the DLL with "
                            "--library.");
        }
        if (arguments_.dryRun) return PlanCall();
        if (arguments_.function->changesTheSystem && !IsElevated()) {
            return Fail(ExitStatus::kNotElevated,
                        "Administrator rights are needed: start it from a command prompt that was "
                        "opened with \"Run as administrator\".");
        }
        return arguments_.isolated ? CallIsolated() : Call(MakeLibraryCall());
    }

private:
    ExitStatus Diagnose() {
        const Diagnosis diagnosis = ctl::Diagnose(library_);
        surroundings_.printResult(arguments_.json ? Dump(ToJson(diagnosis)) : ToText(diagnosis));
        return ExitStatus::kSuccess;
    }

    ExitStatus PlanDiagnosis() { return PrintPlan(MakeDiagnosisPlan(library_)); }

    // A port test uses no driver archive, so it can be planned for any DLL.
    ExitStatus PlanCall() {
        const std::optional<std::vector<ArchiveItem>> archive = ListDriverArchive(library_);
        if (!archive && arguments_.function->changesTheSystem) {
            return Fail(ExitStatus::kLibraryUnusable,
                        ToUtf8(library_) +
                            " contains no readable driver archive: name a libmendloft.dll with "
                            "--library.");
        }
        const RTL_OSVERSIONINFOW windows = WindowsVersion();
        const bool usesPrivateFolder = arguments_.isolated && arguments_.function->changesTheSystem;
        // The name is chosen when the folder is made, so the plan can only show its form.
        const std::wstring privateFolder =
            PrivateFolderParent() + L"\\mendloft-(32 random hexadecimal digits)";
        Plan plan = MakePlan(
            *arguments_.function, arguments_.argument,
            {.majorVersion = windows.dwMajorVersion,
             .minorVersion = windows.dwMinorVersion,
             .libraryFolder = FolderOfLibrary(library_),
             .commonFilesFolder = CommonFilesFolder(),
             .temporaryDirectory = usesPrivateFolder ? privateFolder + L"\\" : TemporaryDirectory(),
             .archive = archive.value_or(std::vector<ArchiveItem>())});
        if (usesPrivateFolder) plan = WithPrivateFolder(std::move(plan), privateFolder);
        return PrintPlan(plan);
    }

    ExitStatus PrintPlan(const Plan& plan) {
        if (!arguments_.json) {
            surroundings_.printResult(ToText(plan, arguments_.function));
            return ExitStatus::kSuccess;
        }
        Json json{
            {"command", arguments_.command}, {"library", ToUtf8(library_)}, {"dry_run", true}};
        json.update(ToJson(plan, arguments_.function));
        surroundings_.printResult(Dump(json));
        return ExitStatus::kSuccess;
    }

    LibraryCall MakeLibraryCall() {
        LibraryCall call;
        call.program = surroundings_.program;
        call.task.library = library_;
        call.task.function = arguments_.function->name;
        call.task.argument = arguments_.argument;
        call.isolated = arguments_.isolated;
        call.timeout = arguments_.timeout;
        return call;
    }

    // Ctrl+C is caught from before the private folder exists until it has been removed, so that it
    // cannot leave a folder on the disk.
    ExitStatus CallIsolated() {
        const Interruption interruption;
        LibraryCall call = MakeLibraryCall();
        call.interrupted = interruption.Event();
        // A call that changes nothing writes no files, and its caller may lack the rights to make
        // the folder.
        if (!arguments_.function->changesTheSystem) return Call(call);

        PrivateFolder temporaryDirectory;
        if (temporaryDirectory.Path().empty()) {
            const DWORD error = ::GetLastError();
            return Fail(ExitStatus::kRefusedByWindows, "Cannot create a private folder in " +
                                                           ToUtf8(PrivateFolderParent()) + ": " +
                                                           ToUtf8(SystemText(error)));
        }
        call.task.temporaryDirectory = temporaryDirectory.Path();
        // A folder that stays does not change the status, which is about the call.
        const ExitStatus status = Call(call);
        if (!temporaryDirectory.Remove()) {
            Note("The private folder could not be removed completely; delete it by hand: " +
                 ToUtf8(temporaryDirectory.Path()));
        }
        return status;
    }

    // Lines are shown as they arrive and also stored, for the document at the end.
    ExitStatus Call(const LibraryCall& call) {
        CallReport report{arguments_, library_, {}, {}};
        CallObserver observer;
        if (arguments_.trace) {
            observer.onLine = [&](const TraceLine& line) {
                surroundings_.printNote(ToText(line));
                report.lines.push_back(line);
            };
        }
        observer.onProgress = [&](std::chrono::milliseconds elapsed) { PrintProgress(elapsed); };
        report.outcome = MakeCall(call, observer);
        return Print(report);
    }

    // Only a call whose function returned has a line for standard output.
    ExitStatus Print(const CallReport& report) {
        const ExitStatus status = StatusOf(report);
        const bool returned = report.outcome.kind == CallOutcome::Kind::kReturned;
        if (arguments_.json) {
            surroundings_.printResult(Dump(ToJson(report)));
        } else if (returned) {
            surroundings_.printResult(ToText(report));
        }
        if (!returned) Note(SentenceOn(report));
        return status;
    }

    void PrintProgress(std::chrono::milliseconds elapsed) {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
        Note(std::string(arguments_.function->name) + " has been running for " +
             std::to_string(seconds) + " of at most " + std::to_string(arguments_.timeout.count()) +
             " seconds.");
    }

    // Reports what went wrong before a call could be made.
    ExitStatus Fail(ExitStatus status, const std::string& sentence) {
        if (arguments_.json) {
            surroundings_.printResult(Dump(Json{{"command", arguments_.command},
                                                {"success", false},
                                                {"error", sentence},
                                                {"status", static_cast<int>(status)}}));
        }
        Note(sentence);
        return status;
    }

    void Note(const std::string& sentence) {
        surroundings_.printNote("mendloftctl: " + sentence + "\n");
    }

    Arguments arguments_;
    const Surroundings& surroundings_;
    std::wstring library_;
};

}  // namespace

int RunProgram(const std::vector<std::string>& arguments, const Surroundings& surroundings) {
    ParsedArguments parsed = ParseArguments(arguments);
    if (!parsed.help.empty()) {
        surroundings.printResult(parsed.help);
        return static_cast<int>(ExitStatus::kSuccess);
    }
    // Not a document even with --json, which may be one of the arguments that were not understood.
    if (!parsed.problem.empty()) {
        surroundings.printNote("mendloftctl: " + parsed.problem + " (see mendloftctl --help).\n");
        return static_cast<int>(ExitStatus::kWrongArguments);
    }
    return static_cast<int>(Program(std::move(parsed.arguments), surroundings).Run());
}

}  // namespace ctl
