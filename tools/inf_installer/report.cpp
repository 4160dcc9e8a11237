#include "inf_installer/report.h"

#include <windows.h>

#include <array>
#include <cwchar>

#include "common/console.h"
#include "common/text.h"

namespace installer {

using tools::ToUtf8;

namespace {

using MessageBuffer = std::array<wchar_t, 1024>;

bool WriteAll(HANDLE file, std::string_view bytes) {
    DWORD written = 0;
    return ::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) !=
           FALSE;
}

std::wstring LocalTime() {
    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    MessageBuffer text{};
    (void)swprintf_s(text.data(), text.size(), L"%04u-%02u-%02u %02u:%02u:%02u", now.wYear,
                     now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond);
    return text.data();
}

}  // namespace

bool Report::OpenLog(const std::wstring& path, std::wstring_view firstLine) {
    // With the right to append only, Windows puts each write at the end of the file. Two runs with
    // one log do not overwrite each other's lines.
    log_.Reset(::CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                             nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    Log(firstLine);
    return static_cast<bool>(log_);
}

void Report::Say(std::wstring_view message) {
    while (true) {
        const std::size_t end = message.find(L'\n');
        const std::wstring_view line = message.substr(0, end);
        tools::Print(STD_OUTPUT_HANDLE, std::wstring(line) + L"\r\n");
        Log(line);
        if (end == std::wstring_view::npos) return;
        message.remove_prefix(end + 1);
    }
}

// A failed write is ignored: an installation does not stop because its log is on a full disk.
void Report::Log(std::wstring_view message) {
    if (log_)
        (void)WriteAll(log_.Get(), ToUtf8(LocalTime() + L"  " + std::wstring(message) + L"\r\n"));
}

}  // namespace installer
