#include "telnet/formatting.h"

#include <climits>
#include <cstdio>

namespace TELNET {

// Both use _vsnprintf of the Windows C runtime. The standard vsnprintf behaves differently: it ends
// text that is cut with a zero byte in place of the last character, and returns the length of the
// whole text. In mingw-w64 it also formats wide strings differently.

int FormatBounded(char* buffer, std::size_t limit, const char* format, std::va_list arguments) {
    return ::_vsnprintf(buffer, limit, format, arguments);
}

int FormatUnbounded(char* buffer, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = ::_vsnprintf(buffer, INT_MAX, format, arguments);
    va_end(arguments);
    return length;
}

}  // namespace TELNET
