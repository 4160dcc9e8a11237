#include "platform/diagnostics.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cwchar>

// The bounds-checked formatters treat %s alike in every Windows C runtime. mingw-w64 replaces the
// plain ones by its own, which take %s in a wide format for a narrow string.

void DebugLog(const wchar_t* format, ...) {
    std::array<wchar_t, 4096> message{};
    va_list arguments;
    va_start(arguments, format);
    (void)vswprintf_s(message.data(), message.size(), format, arguments);
    va_end(arguments);
    ::OutputDebugStringW(message.data());
}

void ConsolePrintW(const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    (void)vfwprintf_s(stdout, format, arguments);
    va_end(arguments);
}

int ConsolePrintA(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int written = vfprintf_s(stdout, format, arguments);
    va_end(arguments);
    return written;
}
