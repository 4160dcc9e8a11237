#include "report.h"

#include <windows.h>
#include <setupapi.h>

#include <array>
#include <cwchar>

#include "text.h"

namespace {

using MessageBuffer = std::array<wchar_t, 1024>;

bool WriteAll(HANDLE file, std::string_view bytes) {
    DWORD written = 0;
    return ::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) !=
           FALSE;
}

// A console takes UTF-16 whatever its code page is; anything else that output is sent to gets
// UTF-8.
void Print(std::wstring_view text) {
    const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
    if (output == nullptr || output == INVALID_HANDLE_VALUE) return;
    DWORD mode = 0;
    DWORD written = 0;
    if (::GetConsoleMode(output, &mode)) {
        ::WriteConsoleW(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    } else {
        (void)WriteAll(output, ToUtf8(text));
    }
}

std::wstring LocalTime() {
    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    MessageBuffer text{};
    (void)swprintf_s(text.data(), text.size(), L"%04u-%02u-%02u %02u:%02u:%02u", now.wYear,
                     now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond);
    return text.data();
}

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

// The set-up functions have codes of their own, 0xE0000000 and up, and their texts are filed under
// the HRESULT that belongs to such a code.
bool IsSetupError(DWORD error) {
    return (error & (APPLICATION_ERROR_MASK | ERROR_SEVERITY_ERROR)) ==
           (APPLICATION_ERROR_MASK | ERROR_SEVERITY_ERROR);
}

}  // namespace

bool Report::OpenLog(const std::wstring& path, std::wstring_view firstLine) {
    log_.Reset(::CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                             nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    Log(firstLine);
    return static_cast<bool>(log_);
}

void Report::Say(std::wstring_view message) {
    while (true) {
        const std::size_t end = message.find(L'\n');
        const std::wstring_view line = message.substr(0, end);
        Print(std::wstring(line) + L"\r\n");
        Log(line);
        if (end == std::wstring_view::npos) return;
        message.remove_prefix(end + 1);
    }
}

void Report::Log(std::wstring_view message) {
    if (log_)
        (void)WriteAll(log_.Get(), ToUtf8(LocalTime() + L"  " + std::wstring(message) + L"\r\n"));
}

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
