#include <windows.h>

#include <array>
#include <cstdio>
#include <cwchar>
#include <string>

#include "platform/unique_handle.h"

// Stands in for the installer tool in tests. It records how it was started, then waits and ends as
// the environment says.
//
//     MENDLOFT_RECORDER_FILE       the file to which each run appends its record
//     MENDLOFT_RECORDER_WAIT_MS    milliseconds to wait before it ends
//     MENDLOFT_RECORDER_EXIT_CODE  its exit code; 0 unless set
//
// A record is UTF-8 lines; the last one is written when the run ends. `support/recorded_runs.h`
// reads them.

namespace {

std::wstring Environment(const wchar_t* name) {
    std::array<wchar_t, 32767> value{};
    const DWORD length =
        ::GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
    return std::wstring(value.data(), length);
}

unsigned long NumberInEnvironment(const wchar_t* name) {
    return std::wcstoul(Environment(name).c_str(), nullptr, 10);
}

std::string Utf8(const std::wstring& text) {
    if (text.empty()) return {};
    const int length = static_cast<int>(text.size());
    const int size =
        ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

std::wstring CurrentFolder() {
    std::array<wchar_t, 32767> folder{};
    const DWORD length = ::GetCurrentDirectoryW(static_cast<DWORD>(folder.size()), folder.data());
    return std::wstring(folder.data(), length);
}

const char* Console() {
    if (::GetConsoleCP() == 0) return "none";
    return ::IsWindowVisible(::GetConsoleWindow()) ? "visible" : "hidden";
}

std::string HowItWasStarted() {
    STARTUPINFOW startUp{};
    ::GetStartupInfoW(&startUp);
    std::array<char, 64> numbers{};
    std::snprintf(numbers.data(), numbers.size(), "start-up flags: %lu\nshow window: %u\n",
                  startUp.dwFlags, static_cast<unsigned>(startUp.wShowWindow));
    return "command line: " + Utf8(::GetCommandLineW()) + "\nfolder: " + Utf8(CurrentFolder()) +
           "\nconsole: " + Console() + "\n" + numbers.data();
}

bool Append(const std::wstring& path, const std::string& text) {
    const UniqueFile file(::CreateFileW(path.c_str(), FILE_APPEND_DATA,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    return file && ::WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written,
                               nullptr) != FALSE;
}

}  // namespace

int main() {
    const std::wstring record = Environment(L"MENDLOFT_RECORDER_FILE");
    const unsigned long exitCode = NumberInEnvironment(L"MENDLOFT_RECORDER_EXIT_CODE");

    (void)Append(record, HowItWasStarted());
    ::Sleep(NumberInEnvironment(L"MENDLOFT_RECORDER_WAIT_MS"));
    (void)Append(record, "ended: " + std::to_string(exitCode) + "\n");
    return static_cast<int>(exitCode);
}
