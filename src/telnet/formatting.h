#pragma once

#include <cstdarg>
#include <cstddef>

namespace TELNET {

// Formats into `buffer` and writes at most `limit` characters. Returns the number of characters.
// Longer text is cut, and the result is then -1. No zero byte follows text that is cut or that has
// exactly `limit` characters. A caller that needs one stores it after the limit beforehand.
int FormatBounded(char* buffer, std::size_t limit, const char* format, std::va_list arguments);

// Formats into `buffer`, which must have room for the whole text and its zero byte. Returns the
// number of characters, or a negative number when the runtime reports an error.
int FormatUnbounded(char* buffer, const char* format, ...);

}  // namespace TELNET
