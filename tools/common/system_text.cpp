#include "common/system_text.h"

#include <setupapi.h>

#include <array>
#include <cwchar>

namespace tools {

namespace {

using MessageBuffer = std::array<wchar_t, 1024>;

// Empty when there is no message for `error`. The messages of the setup functions are in
// setupapi.dll, which FormatMessageW searches before the system's own. Insertions stay unfilled,
// because only the function that failed knows their values. The mask removes the line breaks, so
// that a message takes one line of a log.
std::wstring FormatSystemMessage(DWORD error) {
    MessageBuffer text{};
    DWORD length =
        ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_FROM_HMODULE |
                             FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                         ::GetModuleHandleW(L"setupapi.dll"), error, 0, text.data(),
                         static_cast<DWORD>(text.size()), nullptr);
    while (length > 0 && text[length - 1] == L' ') --length;
    return std::wstring(text.data(), length);
}

// The setup functions have codes of their own, from 0xE0000000 on. Their messages are stored under
// the HRESULT that corresponds to the code.
bool IsSetupError(DWORD error) {
    return (error & (APPLICATION_ERROR_MASK | ERROR_SEVERITY_ERROR)) ==
           (APPLICATION_ERROR_MASK | ERROR_SEVERITY_ERROR);
}

}  // namespace

std::wstring SystemMessage(DWORD error) {
    std::wstring text = FormatSystemMessage(error);
    if (text.empty() && IsSetupError(error)) {
        text = FormatSystemMessage(static_cast<DWORD>(HRESULT_FROM_SETUPAPI(error)));
    }
    return text.empty() ? L"Windows has no message for this code." : text;
}

std::wstring SystemText(DWORD error) {
    // Windows' codes are documented in decimal, those of the setup functions in hexadecimal.
    MessageBuffer code{};
    (void)swprintf_s(code.data(), code.size(),
                     error > 0xFFFF ? L" (error 0x%08lX)" : L" (error %lu)", error);
    return SystemMessage(error) + code.data();
}

}  // namespace tools
