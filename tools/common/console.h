#pragma once

#include <windows.h>

#include <string_view>

namespace tools {

// Writes `text` to a standard handle of this process (STD_OUTPUT_HANDLE or STD_ERROR_HANDLE). A
// console is given UTF-16, whatever its code page is; a file or a pipe is given UTF-8. Does nothing
// in a process that has no such handle, and does not report a failed write.
void Print(DWORD standardHandle, std::wstring_view text);
void Print(DWORD standardHandle, std::string_view utf8);

}  // namespace tools
