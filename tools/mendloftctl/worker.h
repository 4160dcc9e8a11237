#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The child process that makes one call, and how the two processes talk to each other. A process of
// its own, because what the library leaves behind (privileges, remembered paths) ends with it, and
// because a crash then is a result like any other.

namespace ctl {

// The first argument of a process that is a worker.
inline constexpr const char* kWorkerCommand = "worker";

struct WorkerTask {
    std::wstring library;  // full path
    std::string function;
    std::int32_t argument = 0;
    std::wstring temporaryDirectory;  // for the call; empty for that of the user
    HANDLE answer = nullptr;          // the inherited pipe that the answer goes into
};

// What the worker writes into the pipe before it ends.
struct WorkerAnswer {
    enum Kind : std::int32_t { kReturned, kLibraryNotLoaded, kFunctionMissing };

    std::int32_t kind;
    std::int32_t value;  // what the function returned, or the error of Windows
};

// The arguments of a worker's command line, without the program.
[[nodiscard]] std::wstring WorkerArguments(const WorkerTask& task);

// What those arguments, beginning with kWorkerCommand, say; empty when they are none.
[[nodiscard]] std::optional<WorkerTask> ParseWorkerArguments(
    const std::vector<std::string>& arguments);

// Makes the call. Returns what the process is to end with: 0 when the answer was written.
[[nodiscard]] int RunWorker(const WorkerTask& task);

}  // namespace ctl
