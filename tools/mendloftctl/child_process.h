#pragma once

#include <windows.h>

#include <string>

#include "platform/unique_handle.h"

namespace ctl {

// A pipe from a child process to this one.
class ChildPipe {
public:
    // When Windows cannot make a pipe, the writing end is null and nothing is ever read.
    ChildPipe();

    // The end that a child process inherits; null after CloseWritingEnd.
    [[nodiscard]] HANDLE WritingEnd() const { return write_.Get(); }

    // Closes this process's copy of the writing end. To be called after the child has inherited it,
    // so that the child is the only writer.
    void CloseWritingEnd() { write_.Reset(); }

    // Everything that has been written and not yet been read. Never waits for more.
    [[nodiscard]] std::string ReadAvailable();

private:
    UniqueHandle read_;
    UniqueHandle write_;
};

// A process and every process that it starts. They are ended together by End, by the destructor,
// and by the end of this program, however that comes. A part of the work that a process has handed
// to a Windows service is not included.
class ProcessTree {
public:
    // Begins with `process`, which must not have started another one yet. Returns false, with the
    // reason in GetLastError(), when Windows cannot group the processes.
    [[nodiscard]] bool Add(HANDLE process);

    // Ends the processes that still run and waits for them, for five seconds at most. Does nothing
    // when nothing was added.
    void End();

private:
    UniqueHandle job_;
};

}  // namespace ctl
