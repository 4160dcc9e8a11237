#include "mendloftctl/debugger.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "common/text.h"
#include "platform/unique_handle.h"

namespace ctl {

using tools::FromAnsi;

namespace {

constexpr std::size_t kPageSize = 4096;
constexpr std::size_t kLongestLine = 64 * 1024;
constexpr DWORD kWow64Breakpoint = 0x4000001F;

// Windows 10 has a function that passes wide text on as it is. The one that every Windows has gives
// it in the code page of the system, and so does Wine.
BOOL WaitForEvent(DEBUG_EVENT& event, DWORD milliseconds) {
    using Wait = BOOL(WINAPI*)(DEBUG_EVENT*, DWORD);
    static const auto waitEx = reinterpret_cast<Wait>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"kernel32"), "WaitForDebugEventEx")));
    return waitEx != nullptr ? waitEx(&event, milliseconds)
                             : ::WaitForDebugEvent(&event, milliseconds);
}

// The string at `address` in another process, up to its terminator. It is read page by page,
// because what lies behind it need not be readable, and the event's own length is cut to 16 bits.
template <typename Character>
std::basic_string<Character> ReadString(HANDLE process, const void* address) {
    std::basic_string<Character> text;
    auto place = reinterpret_cast<std::uintptr_t>(address);
    while (text.size() < kLongestLine) {
        std::array<Character, kPageSize / sizeof(Character)> buffer{};
        const std::size_t size = kPageSize - place % kPageSize;
        if (!::ReadProcessMemory(process, reinterpret_cast<const void*>(place), buffer.data(), size,
                                 nullptr)) {
            break;
        }
        const auto end = buffer.begin() + static_cast<std::ptrdiff_t>(size / sizeof(Character));
        const auto terminator = std::find(buffer.begin(), end, Character{});
        text.append(buffer.begin(), terminator);
        if (terminator != end) break;
        place += size;
    }
    return text;
}

void Continue(const DEBUG_EVENT& event, DWORD status) {
    (void)::ContinueDebugEvent(event.dwProcessId, event.dwThreadId, status);
}

// The events bring handles of files, which are the debugger's to close.
void CloseFileOf(const DEBUG_EVENT& event) {
    UniqueHandle file;
    if (event.dwDebugEventCode == CREATE_PROCESS_DEBUG_EVENT) {
        file.Reset(event.u.CreateProcessInfo.hFile);
    } else if (event.dwDebugEventCode == LOAD_DLL_DEBUG_EVENT) {
        file.Reset(event.u.LoadDll.hFile);
    }
}

}  // namespace

void Debugger::Wait(std::chrono::milliseconds limit, const Line& onOutput) {
    DEBUG_EVENT event{};
    if (!WaitForEvent(event, static_cast<DWORD>(limit.count()))) return;
    CloseFileOf(event);
    DWORD status = DBG_CONTINUE;
    if (event.dwDebugEventCode == OUTPUT_DEBUG_STRING_EVENT) {
        onOutput(Text(event.u.DebugString));
    } else if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT) {
        if (!TellsOfAttachment(event.u.Exception.ExceptionRecord.ExceptionCode))
            status = DBG_EXCEPTION_NOT_HANDLED;
    }
    Continue(event, status);
}

// Windows' way of saying that it may begin is a breakpoint, and one more where it runs 32-bit
// processes beside its own. Any other exception is the process's own to handle.
bool Debugger::TellsOfAttachment(DWORD exceptionCode) {
    if (exceptionCode == kWow64Breakpoint) return true;
    if (exceptionCode != EXCEPTION_BREAKPOINT) return false;
    return !std::exchange(attached_, true);
}

std::wstring Debugger::Text(const OUTPUT_DEBUG_STRING_INFO& output) const {
    if (output.fUnicode != 0) return ReadString<wchar_t>(process_, output.lpDebugStringData);
    return FromAnsi(ReadString<char>(process_, output.lpDebugStringData));
}

}  // namespace ctl
