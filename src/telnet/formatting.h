#pragma once

#include <cstdarg>
#include <cstddef>

namespace TELNET {

// Formats into `buffer` and writes at most `limit` characters. Returns the number of characters.
// Text that is longer is cut: the result is then -1, and no zero byte follows it. Neither does one
// follow text of exactly `limit` characters; a caller who needs one keeps it behind the limit.
int FormatBounded(char* buffer, std::size_t limit, const char* format, std::va_list arguments);

// Formats into `buffer`, which must have room for the whole text and its zero byte. Returns the
// number of characters, or a negative number when the runtime reports an error.
int FormatUnbounded(char* buffer, const char* format, ...);

}  // namespace TELNET
