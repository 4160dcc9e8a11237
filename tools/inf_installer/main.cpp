#include <windows.h>

#include <array>

#include "inf_installer.h"

// The setup flows of the library start this program without a window, wait for it without limit and
// never look at what it ends with, so it must come to an end by itself and leave what people want
// to know in the log.
int main() {
    std::array<wchar_t, 32768> program{};
    const DWORD length =
        ::GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    const std::wstring_view commandLine = ::GetCommandLineW();

    const ParsedCommandLine parsed = ParseCommandLine(commandLine, {program.data(), length});
    Report report;
    const std::wstring& log = parsed.request.logPath;
    if (!log.empty() && !report.OpenLog(log, commandLine)) {
        report.Say(L"The log file cannot be written, so there will be none: " + log);
    }
    return static_cast<int>(Execute(parsed, report));
}
