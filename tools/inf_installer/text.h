#pragma once

#include <string>
#include <string_view>

// Whether two names are the same to the file system, which does not tell case apart.
[[nodiscard]] bool EqualIgnoringCase(std::wstring_view one, std::wstring_view other);

// What stands behind the last backslash, slash or colon.
[[nodiscard]] std::wstring_view FileNameOf(std::wstring_view path);

// What stands before the last backslash, slash or colon, and that character.
[[nodiscard]] std::wstring_view FolderOf(std::wstring_view path);

[[nodiscard]] std::string ToUtf8(std::wstring_view text);
