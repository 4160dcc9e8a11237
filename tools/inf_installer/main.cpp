#include <windows.h>

#include "common/paths.h"
#include "inf_installer/inf_installer.h"

// The setup flows of the library start this program without a window, wait for it without a time
// limit and ignore its exit code. So it never waits for input, and what a person may want to know
// goes into the log.
int main() {
    const std::wstring program = tools::ProgramPath();
    const std::wstring_view commandLine = ::GetCommandLineW();

    const installer::ParsedCommandLine parsed = installer::ParseCommandLine(commandLine, program);
    installer::Report report;
    const std::wstring& log = parsed.request.logPath;
    if (!log.empty() && !report.OpenLog(log, commandLine)) {
        report.Say(L"Cannot write the log file; continuing without it: " + log);
    }
    return static_cast<int>(installer::Execute(parsed, report));
}
