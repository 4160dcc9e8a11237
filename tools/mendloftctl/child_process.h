#pragma once

#include <windows.h>

#include <string>

#include "platform/unique_handle.h"

namespace ctl {

// A pipe whose writing end child processes inherit.
class ChildPipe {
public:
    ChildPipe();

    [[nodiscard]] HANDLE WritingEnd() const { return write_.Get(); }

    // Called once the child has its own, so that reading comes to an end with the child.
    void CloseWritingEnd() { write_.Reset(); }

    // What has been written and not been read yet; never waits.
    [[nodiscard]] std::string ReadAvailable();

private:
    UniqueHandle read_;
    UniqueHandle write_;
};

// Ends all processes in it, and those that they started, when it is told to or goes out of scope.
class ProcessTree {
public:
    // Returns false, with the error of Windows as the last error, when the process cannot be
    // watched over.
    [[nodiscard]] bool Add(HANDLE process);

    // Ends what still runs and waits until it has ended, for some seconds at most.
    void End();

private:
    UniqueHandle job_;
};

}  // namespace ctl
