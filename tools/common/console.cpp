#include "common/console.h"

#include "common/text.h"

namespace tools {

namespace {

// GetStdHandle returns null in a process without standard handles, and INVALID_HANDLE_VALUE when it
// fails.
bool IsOpen(HANDLE output) {
    return output != nullptr && output != INVALID_HANDLE_VALUE;
}

bool IsConsole(HANDLE output) {
    DWORD mode = 0;
    return ::GetConsoleMode(output, &mode) != FALSE;
}

void WriteToConsole(HANDLE console, std::wstring_view text) {
    DWORD written = 0;
    (void)::WriteConsoleW(console, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

void WriteToFile(HANDLE file, std::string_view bytes) {
    DWORD written = 0;
    (void)::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

}  // namespace

void Print(DWORD standardHandle, std::wstring_view text) {
    const HANDLE output = ::GetStdHandle(standardHandle);
    if (!IsOpen(output)) return;
    if (IsConsole(output)) {
        WriteToConsole(output, text);
    } else {
        WriteToFile(output, ToUtf8(text));
    }
}

void Print(DWORD standardHandle, std::string_view utf8) {
    const HANDLE output = ::GetStdHandle(standardHandle);
    if (!IsOpen(output)) return;
    if (IsConsole(output)) {
        WriteToConsole(output, FromUtf8(utf8));
    } else {
        WriteToFile(output, utf8);
    }
}

}  // namespace tools
