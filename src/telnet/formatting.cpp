#include "telnet/formatting.h"

#include <climits>
#include <cstdio>

namespace TELNET {

// Both use the old formatter of the Windows C runtime. Its standard sibling ends a cut text with a
// zero byte in place of the last character and returns the length that the text would have had;
// besides, mingw-w64 replaces it by a version of its own that formats wide strings differently.

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
