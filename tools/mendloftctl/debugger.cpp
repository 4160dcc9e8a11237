#include "mendloftctl/debugger.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <utility>

#include "common/text.h"
#include "mendloftctl/process_memory.h"
#include "platform/function_lookup.h"
#include "platform/unique_handle.h"

namespace ctl {

using tools::FromAnsi;

namespace {

// In characters. It bounds what a string without a terminator can cost.
constexpr std::size_t kLongestLine = 64 * 1024;
// STATUS_WX86_BREAKPOINT, which <windows.h> does not define.
constexpr DWORD kWow64Breakpoint = 0x4000001F;

// WaitForDebugEventEx, which Windows has since Windows 10, delivers wide text unchanged. The older
// function delivers it in the system's code page, and so does Wine; other characters are lost.
BOOL WaitForEvent(DEBUG_EVENT& event, DWORD milliseconds) {
    using Wait = BOOL(WINAPI*)(DEBUG_EVENT*, DWORD);
    static const auto waitEx = LookUp<Wait>(::GetModuleHandleW(L"kernel32"), "WaitForDebugEventEx");
    return waitEx != nullptr ? waitEx(&event, milliseconds)
                             : ::WaitForDebugEvent(&event, milliseconds);
}

// The string at `address` in another process, up to its terminator, or as far as it can be read.
// The event also has a length, but in 16 bits, which a long line exceeds.
template <typename Character>
std::basic_string<Character> ReadString(HANDLE process, const void* address) {
    std::basic_string<Character> text;
    auto place = reinterpret_cast<std::uintptr_t>(address);
    while (text.size() < kLongestLine) {
        std::array<Character, 4096> buffer{};
        const std::size_t size =
            ReadMemory(process, place, std::as_writable_bytes(std::span(buffer)));
        const auto end = buffer.begin() + static_cast<std::ptrdiff_t>(size / sizeof(Character));
        const auto terminator = std::find(buffer.begin(), end, Character{});
        text.append(buffer.begin(), terminator);
        if (terminator != end || size < sizeof(buffer)) break;
        place += size;
    }
    return text;
}

void Continue(const DEBUG_EVENT& event, DWORD status) {
    (void)::ContinueDebugEvent(event.dwProcessId, event.dwThreadId, status);
}

// These two events contain a file handle that the debugger has to close. Windows closes the handles
// of processes and threads itself.
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
    // The process continues only after ContinueDebugEvent, so its output is handled at a moment at
    // which it writes nothing else.
    DWORD status = DBG_CONTINUE;
    if (event.dwDebugEventCode == OUTPUT_DEBUG_STRING_EVENT) {
        onOutput(Text(event.u.DebugString));
    } else if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT) {
        status = Handle(event.u.Exception);
    }
    Continue(event, status);
}

// An exception goes back to the process as if there were no debugger: the library may handle it,
// and a crash ends the process with its code. It comes a second time when nothing has handled it.
// Windows then no longer asks the process itself, so it is read here.
DWORD Debugger::Handle(const EXCEPTION_DEBUG_INFO& exception) {
    const EXCEPTION_RECORD& record = exception.ExceptionRecord;
    if (IsDebuggerBreakpoint(record.ExceptionCode)) return DBG_CONTINUE;
    if (exception.dwFirstChance == 0 && record.ExceptionCode == kCppExceptionCode)
        unhandled_ = ReadCppException(process_, record);
    return DBG_EXCEPTION_NOT_HANDLED;
}

// Windows raises a breakpoint in a debugged process before its program starts, and a second one in
// a 32-bit process on 64-bit Windows. Nothing in the process handles these, so the debugger has to.
bool Debugger::IsDebuggerBreakpoint(DWORD exceptionCode) {
    if (exceptionCode == kWow64Breakpoint) return true;
    if (exceptionCode != EXCEPTION_BREAKPOINT) return false;
    return !std::exchange(attached_, true);
}

// OutputDebugStringA always sends bytes; OutputDebugStringW too, except to WaitForDebugEventEx.
std::wstring Debugger::Text(const OUTPUT_DEBUG_STRING_INFO& output) const {
    if (output.fUnicode != 0) return ReadString<wchar_t>(process_, output.lpDebugStringData);
    return FromAnsi(ReadString<char>(process_, output.lpDebugStringData));
}

}  // namespace ctl
