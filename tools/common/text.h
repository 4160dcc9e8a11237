#pragma once

#include <string>
#include <string_view>

// Text between UTF-16, which Windows speaks, and bytes. No function here fails: a sequence that is
// not valid in its encoding becomes a replacement character.

namespace tools {

// Whether two names are the same to the file system, which ignores case.
[[nodiscard]] bool EqualIgnoringCase(std::wstring_view one, std::wstring_view other);

[[nodiscard]] std::string ToUtf8(std::wstring_view text);
[[nodiscard]] std::wstring FromUtf8(std::string_view bytes);

// From the system's ANSI code page, in which programs write to standard output.
[[nodiscard]] std::wstring FromAnsi(std::string_view bytes);

}  // namespace tools
