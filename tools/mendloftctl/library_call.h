#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "mendloftctl/worker.h"

namespace ctl {

// A diagnostic line of the library.
struct TraceLine {
    enum class Channel { kDebuggerOutput, kStandardOutput };

    Channel channel;
    std::wstring text;  // without its line end
};

struct LibraryCall {
    std::wstring program;  // the full path of mendloftctl.exe, which is its own worker
    WorkerTask task;
    bool isolated = false;                // watch over the worker and all that it starts
    std::chrono::milliseconds timeout{};  // of an isolated call
    HANDLE interrupted = nullptr;         // an event that ends an isolated call; may be null
    std::chrono::milliseconds progressInterval{5'000};
};

struct CallObserver {
    std::function<void(const TraceLine& line)> onLine;  // null when nobody wants the lines
    // Of an isolated call: how long it has been going on, in every interval of the call.
    std::function<void(std::chrono::milliseconds elapsed)> onProgress;
};

struct CallOutcome {
    enum class Kind {
        kReturned,          // value: what the function returned
        kLibraryNotLoaded,  // value: the error of Windows
        kFunctionMissing,
        kCrashed,  // value: what the process ended with
        kTimeLimitPassed,
        kInterrupted,
        kNotStarted,  // value: the error of Windows
    };

    Kind kind;
    std::int32_t value = 0;
};

// Makes the call in a worker and waits for its end; calls the observer on the calling thread.
[[nodiscard]] CallOutcome MakeCall(const LibraryCall& call, const CallObserver& observer);

}  // namespace ctl
