#pragma once

#include <windows.h>

#include <string>

// What this machine answers to the questions that the library asks, and what files say about
// themselves.

namespace ctl {

// The user's temporary directory, with a backslash at its end; empty when Windows names none.
[[nodiscard]] std::wstring TemporaryDirectory();

// The version of Windows; all zero when Windows does not name it.
[[nodiscard]] RTL_OSVERSIONINFOW WindowsVersion();

// The version in the resources of a program or library ("1.0.0.0"), and the date and version of the
// driver of an INF file ("01/02/2003,4.5.6.7"). The path must be full. Empty when the file does not
// state it.
[[nodiscard]] std::wstring VersionOfProgram(const std::wstring& path);
[[nodiscard]] std::wstring VersionOfInf(const std::wstring& path);

}  // namespace ctl
