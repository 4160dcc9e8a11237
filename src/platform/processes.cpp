#include "platform/processes.h"

#include <windows.h>
#include <tlhelp32.h>

#include <string_view>

#include "platform/unique_handle.h"

namespace {

void EndProcess(DWORD id) {
    constexpr UINT exitCode = 9;
    const UniqueHandle process(::OpenProcess(PROCESS_TERMINATE, FALSE, id));
    if (process) (void)::TerminateProcess(process.Get(), exitCode);
}

}  // namespace

void KillWerFault() {
    // Not checked: after a failed snapshot the first query fails, and no process is ended.
    const UniqueFile snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPALL, 0));

    PROCESSENTRY32W entry{};
    static_assert(sizeof(entry) == 556);
    entry.dwSize = sizeof(entry);
    for (BOOL more = ::Process32FirstW(snapshot.Get(), &entry); more;
         more = ::Process32NextW(snapshot.Get(), &entry)) {
        if (std::wstring_view(entry.szExeFile) == kCrashReporter) EndProcess(entry.th32ProcessID);
    }
}
