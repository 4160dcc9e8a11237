#include "platform/diagnostics.h"

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cwchar>

namespace {

// In msvcrt.dll, %s in a wide format names a wide string. mingw-w64 replaces the functions with the
// standard names by its own, in which it names a narrow one. The bounds-checked ones, such as
// vswprintf_s, would do, but the msvcrt.dll of Windows XP does not have them.

int FormatWide(wchar_t* text, std::size_t size, const wchar_t* format, va_list arguments) {
#ifdef __MINGW32__
    return ::_vsnwprintf(text, size, format, arguments);
#else
    return std::vswprintf(text, size, format, arguments);
#endif
}

int PrintWide(const wchar_t* format, va_list arguments) {
#ifdef __MINGW32__
    return ::__ms_vfwprintf(stdout, format, arguments);
#else
    return std::vfwprintf(stdout, format, arguments);
#endif
}

int PrintNarrow(const char* format, va_list arguments) {
#ifdef __MINGW32__
    return ::__ms_vfprintf(stdout, format, arguments);
#else
    return std::vfprintf(stdout, format, arguments);
#endif
}

}  // namespace

void DebugLog(const wchar_t* format, ...) {
    std::array<wchar_t, 4096> message{};
    va_list arguments;
    va_start(arguments, format);
    const int written = FormatWide(message.data(), message.size(), format, arguments);
    va_end(arguments);
    // A message that does not fit is cut off, and one of 4,096 characters has no terminator.
    if (written < 0 || static_cast<std::size_t>(written) >= message.size()) message[0] = L'\0';
    ::OutputDebugStringW(message.data());
}

void ConsolePrintW(const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    (void)PrintWide(format, arguments);
    va_end(arguments);
}

int ConsolePrintA(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int written = PrintNarrow(format, arguments);
    va_end(arguments);
    return written;
}
