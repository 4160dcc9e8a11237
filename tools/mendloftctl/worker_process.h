#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "mendloftctl/child_process.h"
#include "mendloftctl/library_call.h"
#include "mendloftctl/worker.h"
#include "platform/unique_handle.h"

namespace ctl {

// A worker (worker.h) as the process that starts it sees it. The destructor ends the worker of an
// isolated call; any other worker runs on.
class WorkerProcess {
public:
    // Starts the worker of `call`. A traced worker is debugged by the calling thread (debugger.h),
    // and its standard output goes into a pipe; the standard output of any other is discarded.
    // Returns false, with the reason in GetLastError(), when no worker runs afterwards.
    [[nodiscard]] bool Start(const LibraryCall& call, bool isTraced);

    // The process, for as long as this object exists; null before Start.
    [[nodiscard]] HANDLE Process() const { return process_.Get(); }

    // Waits up to `limit` for the end of the worker. Returns whether it has ended.
    bool WaitForEnd(std::chrono::milliseconds limit) const;

    // The exit code of a worker that has ended.
    [[nodiscard]] std::int32_t ExitCode() const;

    // Ends the worker of an isolated call and every process that it has started, as far as they
    // still run. Does nothing for any other call. A debugged worker ends only when its debugger has
    // handled that event.
    void EndAll() { tree_.End(); }

    // What a traced worker has written to standard output since the last call. Never waits.
    [[nodiscard]] std::string ReadOutput() { return output_.ReadAvailable(); }

    // The worker's answer; empty when it has not written one. Can be read once.
    [[nodiscard]] std::optional<WorkerAnswer> ReadAnswer();

private:
    // Makes the process, suspended, with `startup` for its standard handles. Returns false, with
    // the reason in GetLastError(), when Windows cannot.
    [[nodiscard]] bool Create(const LibraryCall& call, bool isTraced, STARTUPINFOW& startup);
    // Lets it run, in a job when the call is isolated. Returns false like Start.
    [[nodiscard]] bool Release(bool isIsolated);

    ChildPipe output_;
    ChildPipe answer_;
    UniqueHandle process_;
    UniqueHandle thread_;
    ProcessTree tree_;
};

}  // namespace ctl
