#pragma once

#include <windows.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "mendloftctl/cpp_exception.h"

namespace ctl {

// Receives what one process writes to the debugger output channel. Everything else in the process
// takes its usual course. The process must have been started with DEBUG_ONLY_THIS_PROCESS, and by
// the calling thread: Windows delivers debugger events to that thread only.
class Debugger {
public:
    using Line = std::function<void(const std::wstring& text)>;

    explicit Debugger(HANDLE process) : process_(process) {}

    // Waits up to `limit` for one debugger event. When the event is output, the process stands
    // still until `onOutput` has returned. A debugged process waits at every event, so this must be
    // called until the process has ended.
    void Wait(std::chrono::milliseconds limit, const Line& onOutput);

    // The C++ exception that nothing in the process has handled, and that ends it; empty as long as
    // there is none.
    [[nodiscard]] const std::optional<CppException>& Unhandled() const { return unhandled_; }

private:
    // Takes note of an exception. Returns the status to continue with.
    [[nodiscard]] DWORD Handle(const EXCEPTION_DEBUG_INFO& exception);
    // Whether the exception is a breakpoint that Windows raises because there is a debugger.
    [[nodiscard]] bool IsDebuggerBreakpoint(DWORD exceptionCode);
    // The text of an output event, as far as it can be read.
    [[nodiscard]] std::wstring Text(const OUTPUT_DEBUG_STRING_INFO& output) const;

    HANDLE process_;
    bool attached_ = false;
    std::optional<CppException> unhandled_;
};

}  // namespace ctl
