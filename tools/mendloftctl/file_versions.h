#pragma once

#include <windows.h>

#include <string>

// What files say about themselves.

namespace ctl {

// The version in the resources of a program or library ("1.0.0.0"), and the date and version of the
// driver of an INF file ("01/02/2003,4.5.6.7"). The path must be full. Empty when the file does not
// state it.
[[nodiscard]] std::wstring VersionOfProgram(const std::wstring& path);
[[nodiscard]] std::wstring VersionOfInf(const std::wstring& path);

}  // namespace ctl
