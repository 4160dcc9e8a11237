#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "mendloftctl/cpp_exception.h"

// The child process that makes one call, and what the two processes send each other. The call has a
// process of its own because the library leaves things in its process (privileges, remembered
// paths), which then end with it, and because a crash then ends only that process.

namespace ctl {

// The first argument of a process that is a worker.
inline constexpr const char* kWorkerCommand = "worker";

// The call that a worker makes.
struct WorkerTask {
    std::wstring library;  // full path
    std::string function;
    std::int32_t argument = 0;
    std::wstring temporaryDirectory;  // for the call; empty for that of the user
    HANDLE answer = nullptr;          // the inherited pipe for the answer
};

// What the worker writes into the pipe before it ends, byte for byte: both processes run the same
// program.
struct WorkerAnswer {
    enum Kind : std::int32_t { kReturned, kLibraryNotLoaded, kFunctionMissing, kRaised };

    std::int32_t kind;
    std::int32_t value;           // what the function returned, or Windows' error code
    CppException exception = {};  // that the function raised
};

// The arguments of a worker's command line, without the program's path.
[[nodiscard]] std::wstring WorkerArguments(const WorkerTask& task);

// The task in such arguments, which begin with kWorkerCommand. Empty when they are not a worker's,
// so that the program goes on to read them as a user's.
[[nodiscard]] std::optional<WorkerTask> ParseWorkerArguments(
    const std::vector<std::string>& arguments);

// Makes the call in this process and writes the answer. Returns the exit code of the process: 0
// when the answer was written, 1 otherwise. A crash of the library ends the process with the code
// of the exception, and without an answer. So does a C++ exception that leaves the library, but an
// answer tells of it, unless the process is debugged: Windows then tells the debugger alone.
[[nodiscard]] int RunWorker(const WorkerTask& task);

}  // namespace ctl
