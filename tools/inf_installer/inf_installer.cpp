#include "inf_installer/inf_installer.h"

#include <windows.h>
#include <setupapi.h>

#include <algorithm>

#include "common/elevation.h"
#include "common/published_infs.h"
#include "common/system_text.h"
#include "inf_installer/driver_store.h"
#include "inf_installer/inf_file.h"
#include "inf_installer/published_copies.h"
#include "inf_installer/system_checks.h"
#include "platform/paths.h"

namespace installer {

using tools::IsElevated;
using tools::IsOemName;
using tools::PublishedPath;
using tools::SystemText;

namespace {

// The exit code of a success, after a message about a restart where one is needed.
ExitCode Done(bool restartNeeded, Report& report) {
    if (!restartNeeded) return ExitCode::kDone;
    report.Say(L"Windows has to be restarted to complete this.");
    return ExitCode::kDoneButRestartNeeded;
}

// Reports that Windows refused to do `action`, and why.
ExitCode Refused(std::wstring_view action, DWORD error, Report& report) {
    report.Say(L"Windows refused to " + std::wstring(action) + L". " + SystemText(error));
    return ExitCode::kRefused;
}

void ListPublishedCopies(const InfFile& inf, Report& report) {
    for (const std::wstring& name : FindPublishedCopies(inf)) {
        report.Say(L"It is published as " + name + L".");
    }
}

// ERROR_NO_MORE_ITEMS means that the package is in the driver store, and that every present device
// it fits has a driver that is at least as good.
bool IsSuccess(const CallResult& result) {
    return result.error == ERROR_SUCCESS || result.error == ERROR_NO_MORE_ITEMS;
}

// The result of AddToDriverStore. Files that are missing are found here, because the function
// tries to copy them for ever under Wine 10.
CallResult AddWholePackage(const InfFile& inf, Report& report) {
    const std::wstring missing = MissingFile(inf);
    if (missing.empty()) return AddToDriverStore(inf.path);
    report.Say(L"A file of the package is missing: " + missing);
    return {ERROR_FILE_NOT_FOUND, false};
}

ExitCode Install(const InfFile& inf, Report& report) {
    const std::optional<CallResult> installed = InstallOnDevices(inf.path);
    if (installed && !IsSuccess(*installed))
        return Refused(L"install " + inf.path, installed->error, report);

    // A success counts only when the package is published. Wine's function reports success without
    // doing anything.
    if (!installed || FindPublishedCopies(inf).empty()) {
        const CallResult added = AddWholePackage(inf, report);
        if (added.error != ERROR_SUCCESS) return Refused(L"add " + inf.path, added.error, report);
        report.Say(L"Added to the driver store; devices use it after the next rescan: " + inf.path);
    } else if (installed->error == ERROR_NO_MORE_ITEMS) {
        report.Say(
            L"In the driver store; the present devices have a driver that is at least as good: " +
            inf.path);
    } else {
        report.Say(L"Installed: " + inf.path);
    }
    ListPublishedCopies(inf, report);
    return Done(installed && installed->restartNeeded, report);
}

// Here too a success counts only when the INF file is no longer published.
CallResult RemoveForcibly(const std::wstring& name) {
    CallResult result = RemoveFromDriverStore(name);
    if (result.error == ERROR_SUCCESS && FileOrFolderExists(PublishedPath(name))) {
        result.error = ERROR_FILE_EXISTS;
    }
    return result;
}

// Uninstalls the package from its devices first, where Windows can do that, so that they do not
// keep a driver without a package. Where Windows cannot or refuses, the package is removed from the
// driver store anyway. A package without an OEM name is never uninstalled from devices: on
// Windows it would be a part of Windows itself.
CallResult Uninstall(const std::wstring& name, Report& report) {
    const std::optional<CallResult> fromDevices =
        IsOemName(name) ? UninstallFromDevices(PublishedPath(name)) : std::nullopt;
    if (!fromDevices) return RemoveForcibly(name);
    if (fromDevices->error != ERROR_SUCCESS) {
        report.Say(L"Windows did not uninstall " + name + L" from its devices. " +
                   SystemText(fromDevices->error));
        return RemoveForcibly(name);
    }
    if (!FileOrFolderExists(PublishedPath(name))) return *fromDevices;
    return {RemoveForcibly(name).error, fromDevices->restartNeeded};
}

// The published copies of the package, after a message when there are none. Finding none is a
// success: the package is not installed, which is what a removal is for.
std::vector<std::wstring> CopiesToRemove(const InfFile& inf, Report& report) {
    std::vector<std::wstring> names = FindPublishedCopies(inf);
    if (names.empty()) report.Say(L"Nothing to remove: " + inf.path + L" is not published");
    return names;
}

// A refusal does not end the removal, because the other copies can still be removed.
ExitCode Remove(const InfFile& inf, Report& report) {
    bool restartNeeded = false;
    ExitCode refusal = ExitCode::kDone;
    for (const std::wstring& name : CopiesToRemove(inf, report)) {
        const CallResult result = Uninstall(name, report);
        if (result.error != ERROR_SUCCESS) {
            refusal = Refused(L"remove " + name, result.error, report);
            continue;
        }
        report.Say(L"Removed " + name + L", a published copy of " + inf.path);
        restartNeeded = restartNeeded || result.restartNeeded;
    }
    return refusal == ExitCode::kDone ? Done(restartNeeded, report) : refusal;
}

ExitCode ReportPlan(Request::Action action, const InfFile& inf, Report& report) {
    if (action == Request::Action::kInstall) {
        report.Say(L"Would install " + inf.path);
        ListPublishedCopies(inf, report);
        return ExitCode::kDone;
    }
    for (const std::wstring& name : CopiesToRemove(inf, report)) {
        report.Say(L"Would remove " + name + L", a published copy of " + inf.path);
    }
    return ExitCode::kDone;
}

// Everything that needs no rights is checked first, so that a dry run reports it too.
ExitCode Perform(const Request& request, Report& report) {
    const InfReading reading = ReadInf(request.infPath);
    if (!reading.inf) {
        report.Say(reading.problem);
        return ExitCode::kInfUnreadable;
    }
    const std::wstring wrongTool = WrongToolMessage(kToolMachine, NativeMachine());
    if (!wrongTool.empty()) {
        report.Say(wrongTool);
        report.Say(L"Windows would answer: " + SystemText(ERROR_IN_WOW64));
        return ExitCode::kRefused;
    }
    if (request.dryRun) return ReportPlan(request.action, *reading.inf, report);
    if (!IsElevated()) {
        report.Say(
            L"Administrator rights are needed: start this from an elevated program or prompt.");
        return ExitCode::kNotElevated;
    }
    return request.action == Request::Action::kInstall ? Install(*reading.inf, report)
                                                       : Remove(*reading.inf, report);
}

}  // namespace

ExitCode Execute(const ParsedCommandLine& commandLine, Report& report) {
    if (!commandLine.problem.empty()) {
        report.Say(commandLine.problem);
        report.Say(kUsage);
        return ExitCode::kWrongUsage;
    }
    if (commandLine.request.action == Request::Action::kHelp) {
        report.Say(kUsage);
        return ExitCode::kDone;
    }
    return Perform(commandLine.request, report);
}

}  // namespace installer
