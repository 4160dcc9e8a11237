#pragma once

#include <windows.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/unique_handle.h"

// The folder of the test program, which also holds the programs that tests start.
[[nodiscard]] inline std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH + 1] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path().wstring();
}

// A process that a test starts. The destructor ends it if it still runs.
class ChildProcess {
public:
    explicit ChildProcess(std::wstring commandLine) {
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION started{};
        if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                              nullptr, &startup, &started)) {
            throw std::runtime_error("cannot start a child process: error " +
                                     std::to_string(::GetLastError()));
        }
        ::CloseHandle(started.hThread);
        process_.Reset(started.hProcess);
    }
    ~ChildProcess() {
        if (IsRunning()) ::TerminateProcess(process_.Get(), 0);
        ::WaitForSingleObject(process_.Get(), 10'000);
    }

    [[nodiscard]] bool IsRunning() const {
        return ::WaitForSingleObject(process_.Get(), 0) == WAIT_TIMEOUT;
    }

    // Waits for the process and returns its exit code; none when it still runs after ten seconds.
    [[nodiscard]] std::optional<DWORD> ExitCode() const {
        DWORD code = 0;
        if (::WaitForSingleObject(process_.Get(), 10'000) != WAIT_OBJECT_0) return std::nullopt;
        ::GetExitCodeProcess(process_.Get(), &code);
        return code;
    }

private:
    UniqueHandle process_;
};
