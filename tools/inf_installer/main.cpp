#include <windows.h>

#include "common/paths.h"
#include "inf_installer/inf_installer.h"

// The setup flows of the library start this program without a window, wait for it without limit and
// never look at what it ends with, so it must come to an end by itself and leave what people want
// to know in the log.
int main() {
    const std::wstring program = tools::ProgramPath();
    const std::wstring_view commandLine = ::GetCommandLineW();

    const installer::ParsedCommandLine parsed = installer::ParseCommandLine(commandLine, program);
    installer::Report report;
    const std::wstring& log = parsed.request.logPath;
    if (!log.empty() && !report.OpenLog(log, commandLine)) {
        report.Say(L"The log file cannot be written, so there will be none: " + log);
    }
    return static_cast<int>(installer::Execute(parsed, report));
}
