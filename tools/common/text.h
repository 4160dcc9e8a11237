#pragma once

#include <string>
#include <string_view>

// Conversions between bytes and UTF-16, the encoding of the wide functions of Windows. None of them
// fails: a sequence that is not valid in its encoding becomes a replacement character.

namespace tools {

// Whether two names are equal for the file system, which ignores case.
[[nodiscard]] bool EqualIgnoringCase(std::wstring_view one, std::wstring_view other);

// UTF-8 is the encoding of everything that the tools write to files, pipes and JSON documents.
[[nodiscard]] std::string ToUtf8(std::wstring_view text);
[[nodiscard]] std::wstring FromUtf8(std::string_view bytes);

// From the ANSI code page of the system, the encoding of the narrow functions of Windows.
[[nodiscard]] std::wstring FromAnsi(std::string_view bytes);

}  // namespace tools
