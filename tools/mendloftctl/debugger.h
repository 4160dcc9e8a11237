#pragma once

#include <windows.h>

#include <chrono>
#include <functional>
#include <string>

namespace ctl {

// Debugs one process that the calling thread started with DEBUG_ONLY_THIS_PROCESS, for the sake of
// what the process writes to the debugger output channel. Everything else takes its usual course.
// For that thread only.
class Debugger {
public:
    using Line = std::function<void(const std::wstring& text)>;

    explicit Debugger(HANDLE process) : process_(process) {}

    // Waits up to `limit` for something to happen in the process. When that is output, the process
    // stands still while `onOutput` has its text.
    void Wait(std::chrono::milliseconds limit, const Line& onOutput);

private:
    [[nodiscard]] bool TellsOfAttachment(DWORD exceptionCode);
    [[nodiscard]] std::wstring Text(const OUTPUT_DEBUG_STRING_INFO& output) const;

    HANDLE process_;
    bool attached_ = false;
};

}  // namespace ctl
