#pragma once

#include <winsock.h>
#include <windows.h>

#include <atomic>

#include "platform/unique_handle.h"
#include "telnet/critical_section.h"

namespace TELNET {

// Closes `socket`, if there is one, and sets it to INVALID_SOCKET. The caller holds the lock that
// guards the socket, so that only the first of two threads closes it.
void CloseSocket(std::atomic<SOCKET>& socket);

// Ends a connection: closes `socket` under `lock`, waits until the thread that reads it has ended,
// and closes the thread's handle. A missing socket or thread is skipped. Must not be called on that
// thread.
//
// Returns false when Windows keeps refusing to wait. The thread may run on then: what it uses must
// stay allocated, its handle stays in `thread`, and this module stays loaded until the process
// ends. May be called again.
bool CloseAndWait(CriticalSection& lock, std::atomic<SOCKET>& socket, UniqueHandle& thread);

}  // namespace TELNET
