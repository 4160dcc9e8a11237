#include "common/console.h"

#include "common/text.h"

namespace tools {

namespace {

// Null in a process that has no such handle. GetStdHandle itself returns INVALID_HANDLE_VALUE when
// it fails.
HANDLE OutputOf(DWORD standardHandle) {
    const HANDLE output = ::GetStdHandle(standardHandle);
    return output == INVALID_HANDLE_VALUE ? nullptr : output;
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
    const HANDLE output = OutputOf(standardHandle);
    if (output == nullptr) return;
    if (IsConsole(output)) {
        WriteToConsole(output, text);
    } else {
        WriteToFile(output, ToUtf8(text));
    }
}

void Print(DWORD standardHandle, std::string_view utf8) {
    const HANDLE output = OutputOf(standardHandle);
    if (output == nullptr) return;
    if (IsConsole(output)) {
        WriteToConsole(output, FromUtf8(utf8));
    } else {
        WriteToFile(output, utf8);
    }
}

}  // namespace tools
