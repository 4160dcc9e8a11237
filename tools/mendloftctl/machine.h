#pragma once

#include <windows.h>

#include <string>

// What the library would be told if it asked now.

namespace ctl {

// The user's temporary directory, with a backslash at its end; empty when the system tells none.
[[nodiscard]] std::wstring TemporaryDirectory();

// All zero when the system does not tell.
[[nodiscard]] RTL_OSVERSIONINFOW WindowsVersion();

// The version that a program's or a library's file tells, such as "1.0.0.0", or the date and
// version of an INF file's driver; empty when it tells none.
[[nodiscard]] std::wstring VersionOfProgram(const std::wstring& path);
[[nodiscard]] std::wstring VersionOfInf(const std::wstring& path);

}  // namespace ctl
