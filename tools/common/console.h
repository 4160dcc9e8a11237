#pragma once

#include <windows.h>

#include <string_view>

namespace tools {

// Writes `text` to a standard handle of this process (STD_OUTPUT_HANDLE or STD_ERROR_HANDLE). A
// console receives UTF-16, whatever its code page is; a file or a pipe receives UTF-8. Does nothing
// in a process that has no such handle. A failed write is not reported.
void Print(DWORD standardHandle, std::wstring_view text);
void Print(DWORD standardHandle, std::string_view utf8);

}  // namespace tools
