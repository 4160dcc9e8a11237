#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "mendloftctl/cpp_exception.h"
#include "mendloftctl/worker.h"

namespace ctl {

// One diagnostic line of the library.
struct TraceLine {
    enum class Channel { kDebuggerOutput, kStandardOutput };

    Channel channel;
    std::wstring text;  // without its line end
};

// What to call, and how.
struct LibraryCall {
    std::wstring program;  // the full path of mendloftctl.exe, which is also the worker's program
    WorkerTask task;
    bool isolated = false;                // end the worker and all that it starts together
    std::chrono::milliseconds timeout{};  // of an isolated call
    HANDLE interrupted = nullptr;         // an event that ends an isolated call; may be null
    std::chrono::milliseconds progressInterval{5'000};
};

// Receives what happens during a call. Both functions may be null, and both run on the thread that
// makes the call.
struct CallObserver {
    // Receives each line soon after it was written. Where this is null, the call is not traced: it
    // runs without a debugger, and its standard output is discarded.
    std::function<void(const TraceLine& line)> onLine;
    // Receives the duration of an isolated call so far, once in every progress interval.
    std::function<void(std::chrono::milliseconds elapsed)> onProgress;
};

// How a call ended.
struct CallOutcome {
    enum class Kind {
        kReturned,          // value: what the function returned
        kLibraryNotLoaded,  // value: Windows' error code
        kFunctionMissing,
        kRaised,   // exception: the C++ exception that left the function
        kCrashed,  // value: the exit code of the process, an exception's code as a rule
        kTimeLimitPassed,
        kInterrupted,
        kNotStarted,  // value: Windows' error code
    };

    Kind kind;
    std::int32_t value = 0;
    CppException exception = {};
};

// Makes the call in a worker process and waits until that has ended: without limit, unless the call
// is isolated. A C++ exception and a crash are outcomes like any other, and so is an isolated call
// that hangs.
// Processes that an isolated call has started are ended before this returns.
[[nodiscard]] CallOutcome MakeCall(const LibraryCall& call, const CallObserver& observer);

}  // namespace ctl
