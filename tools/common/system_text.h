#pragma once

#include <windows.h>

#include <string>

namespace tools {

// The message that Windows has for an error code or an HRESULT, in the user's language. Never
// empty: a code without a message gets a sentence that says so.
[[nodiscard]] std::wstring SystemMessage(DWORD error);

// The message that Windows or its setup functions have for an error code, in the user's language,
// followed by the code: "Access denied. (error 5)".
[[nodiscard]] std::wstring SystemText(DWORD error);

}  // namespace tools
