#include "install/inf_installer.h"

#include <windows.h>

#include "core/boolean_argument.h"
#include "install/reenumerate.h"
#include "platform/unique_handle.h"

namespace {

bool StartHidden(std::wstring& commandLine, PROCESS_INFORMATION& started) {
    STARTUPINFOW startup{};
    static_assert(sizeof(startup) == 68);
    startup.cb = sizeof(startup);
    return ::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                            nullptr, nullptr, &startup, &started) != FALSE;
}

void WaitForEnd(const PROCESS_INFORMATION& started) {
    const UniqueHandle thread(started.hThread);
    const UniqueHandle process(started.hProcess);
    (void)::WaitForSingleObject(process.Get(), INFINITE);
}

}  // namespace

std::wstring InstallerCommandLine(const std::wstring& tool, const std::wstring& inf,
                                  std::int32_t repair) {
    // The path of the tool is not quoted. The tool receives this line unchanged, and one that skips
    // as many characters as its own path has finds the switch after one blank. For a path with
    // blanks, Windows takes the first program that it finds at one of the blanks: "C:\Program.exe"
    // before "C:\Program Files\...".
    const std::wstring arguments = (IsTrue(repair) ? L"-i \"" : L"-d \"") + inf + L"\"";
    return tool + L" " + arguments;
}

MendloftSetupResult RunInfInstaller(const std::wstring& tool, const std::wstring& inf,
                                    std::int32_t repair, MessageChannel report) {
    // Not const, because CreateProcessW may write to it.
    std::wstring commandLine = InstallerCommandLine(tool, inf, repair);
    PROCESS_INFORMATION started{};
    if (!StartHidden(commandLine, started)) {
        report(L"CreateProcess failed (%d).\n", ::GetLastError());
        return kMendloftSetupToolNotStarted;
    }
    WaitForEnd(started);
    (void)ReenumerateDevices();
    return kMendloftSetupToolRan;
}
