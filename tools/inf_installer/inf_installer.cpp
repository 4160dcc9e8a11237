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

ExitCode Done(bool restartNeeded, Report& report) {
    if (!restartNeeded) return ExitCode::kDone;
    report.Say(L"Windows has to be restarted to complete this.");
    return ExitCode::kDoneButRestartNeeded;
}

ExitCode Refused(std::wstring_view action, DWORD error, Report& report) {
    report.Say(L"Windows refused to " + std::wstring(action) + L". " + SystemText(error));
    return ExitCode::kRefused;
}

void ListPublishedCopies(const InfFile& inf, Report& report) {
    for (const std::wstring& name : FindPublishedCopies(inf)) {
        report.Say(L"It is published as " + name + L".");
    }
}

// Windows has the package then, and no device present would be better off with it.
bool IsSuccess(const CallResult& result) {
    return result.error == ERROR_SUCCESS || result.error == ERROR_NO_MORE_ITEMS;
}

ExitCode Install(const InfFile& inf, Report& report) {
    const std::optional<CallResult> installed = InstallOnDevices(inf.path);
    if (installed && !IsSuccess(*installed))
        return Refused(L"install " + inf.path, installed->error, report);

    // Success alone is not trusted: Wine's function reports it and does nothing.
    if (!installed || FindPublishedCopies(inf).empty()) {
        const CallResult added = AddToDriverStore(inf.path);
        if (added.error != ERROR_SUCCESS) return Refused(L"add " + inf.path, added.error, report);
        report.Say(
            L"Added to the driver store, for devices to take it when they are next looked for: " +
            inf.path);
    } else if (installed->error == ERROR_NO_MORE_ITEMS) {
        report.Say(
            L"In the driver store; the devices present already have a driver that is as good: " +
            inf.path);
    } else {
        report.Say(L"Installed: " + inf.path);
    }
    ListPublishedCopies(inf, report);
    return Done(installed && installed->restartNeeded, report);
}

CallResult RemoveForcibly(const std::wstring& name) {
    CallResult result = RemoveFromDriverStore(name);
    if (result.error == ERROR_SUCCESS && FileOrFolderExists(PublishedPath(name))) {
        result.error = ERROR_FILE_EXISTS;  // success alone is not trusted here either
    }
    return result;
}

// The devices are asked to let go of the package first where Windows can do that. Where it cannot,
// or will not, the package is taken out of the driver store all the same. A name that is not one of
// a published package is never uninstalled from devices: it could be a part of Windows.
CallResult Uninstall(const std::wstring& name, Report& report) {
    const std::optional<CallResult> fromDevices =
        IsOemName(name) ? UninstallFromDevices(PublishedPath(name)) : std::nullopt;
    if (!fromDevices) return RemoveForcibly(name);
    if (fromDevices->error != ERROR_SUCCESS) {
        report.Say(L"Windows did not take " + name + L" from its devices. " +
                   SystemText(fromDevices->error));
        return RemoveForcibly(name);
    }
    if (!FileOrFolderExists(PublishedPath(name))) return *fromDevices;
    return {RemoveForcibly(name).error, fromDevices->restartNeeded};
}

ExitCode Remove(const InfFile& inf, Report& report) {
    const std::vector<std::wstring> names = FindPublishedCopies(inf);
    if (names.empty()) report.Say(L"Nothing to remove: no published package is " + inf.path);

    bool restartNeeded = false;
    ExitCode refusal = ExitCode::kDone;
    for (const std::wstring& name : names) {
        const CallResult result = Uninstall(name, report);
        if (result.error != ERROR_SUCCESS) {
            refusal = Refused(L"remove " + name, result.error, report);
            continue;
        }
        report.Say(L"Removed " + name + L", which was " + inf.path);
        restartNeeded = restartNeeded || result.restartNeeded;
    }
    return refusal == ExitCode::kDone ? Done(restartNeeded, report) : refusal;
}

ExitCode TellWhatWouldBeDone(Request::Action action, const InfFile& inf, Report& report) {
    if (action == Request::Action::kInstall) {
        report.Say(L"Would install " + inf.path);
        ListPublishedCopies(inf, report);
        return ExitCode::kDone;
    }
    const std::vector<std::wstring> names = FindPublishedCopies(inf);
    if (names.empty()) report.Say(L"Nothing to remove: no published package is " + inf.path);
    for (const std::wstring& name : names) {
        report.Say(L"Would remove " + name + L", which is " + inf.path);
    }
    return ExitCode::kDone;
}

ExitCode Perform(const Request& request, Report& report) {
    const InfReading reading = ReadInf(request.infPath);
    if (!reading.inf) {
        report.Say(reading.problem);
        return ExitCode::kInfUnreadable;
    }
    const std::wstring wrongTool = WrongToolMessage(kToolMachine, NativeMachine());
    if (!wrongTool.empty()) {
        report.Say(wrongTool);
        report.Say(L"What Windows would answer: " + SystemText(ERROR_IN_WOW64));
        return ExitCode::kRefused;
    }
    if (request.dryRun) return TellWhatWouldBeDone(request.action, *reading.inf, report);
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
