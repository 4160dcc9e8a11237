#pragma once

#include <winsock.h>
#include <windows.h>

#include <atomic>

#include "platform/unique_handle.h"
#include "telnet/critical_section.h"

namespace TELNET {

// Closes `socket` unless there is none, and leaves INVALID_SOCKET behind. The caller holds the lock
// that guards the socket, so that whichever side closes first is the only one.
void CloseSocket(std::atomic<SOCKET>& socket);

// Ends a connection: closes `socket` under `lock`, then waits without limit for the thread that
// reads it, and closes that thread's handle. Does nothing to what is already gone. Not to be called
// on the thread itself.
void CloseAndWait(CriticalSection& lock, std::atomic<SOCKET>& socket, UniqueHandle& thread);

}  // namespace TELNET
