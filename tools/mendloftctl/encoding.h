#pragma once

#include <windows.h>

#include <string>
#include <string_view>

// Between UTF-16, in which Windows speaks, and bytes.

namespace ctl {

[[nodiscard]] std::wstring ToWide(std::string_view bytes, UINT codePage);
[[nodiscard]] std::wstring FromUtf8(std::string_view bytes);

// What programs write to their standard output.
[[nodiscard]] std::wstring FromAnsi(std::string_view bytes);

}  // namespace ctl
