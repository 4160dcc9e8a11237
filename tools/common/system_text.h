#pragma once

#include <windows.h>

#include <string>

namespace tools {

// The system's own text for an error code of Windows or of its set-up functions, in the user's
// language, and the code: "Access denied. (error 5)". A code without a text is given as such.
[[nodiscard]] std::wstring SystemText(DWORD error);

}  // namespace tools
