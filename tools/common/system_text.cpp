#include "common/system_text.h"

#include <setupapi.h>

#include <array>
#include <cwchar>

namespace tools {

namespace {

using MessageBuffer = std::array<wchar_t, 1024>;

// Texts of the set-up functions are in setupapi.dll; where that is not loaded, the system's own
// texts are all there is.
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

// The set-up functions have codes of their own, from 0xE0000000, and their texts are filed under
// the HRESULT that belongs to such a code.
bool IsSetupError(DWORD error) {
    return (error & (APPLICATION_ERROR_MASK | ERROR_SEVERITY_ERROR)) ==
           (APPLICATION_ERROR_MASK | ERROR_SEVERITY_ERROR);
}

}  // namespace

std::wstring SystemText(DWORD error) {
    std::wstring text = FormatSystemMessage(error);
    if (text.empty() && IsSetupError(error)) {
        text = FormatSystemMessage(static_cast<DWORD>(HRESULT_FROM_SETUPAPI(error)));
    }
    if (text.empty()) text = L"The system has no text for this.";
    MessageBuffer code{};
    (void)swprintf_s(code.data(), code.size(),
                     error > 0xFFFF ? L" (error 0x%08lX)" : L" (error %lu)", error);
    return text + code.data();
}

}  // namespace tools
