#include "telnet/sockets.h"

#include <mutex>

namespace TELNET {

void CloseSocket(std::atomic<SOCKET>& socket) {
    const SOCKET old = socket.exchange(INVALID_SOCKET);
    if (old != INVALID_SOCKET) (void)::closesocket(old);
}

void CloseAndWait(CriticalSection& lock, std::atomic<SOCKET>& socket, UniqueHandle& thread) {
    {
        const std::lock_guard guard(lock);
        CloseSocket(socket);
    }

    // The closed socket makes the thread's pending recv fail. The wait is outside the lock, because
    // the thread takes the lock when it ends. It is needed even when the thread has closed the
    // socket itself: the thread may not have ended yet, and its handle is open.
    if (!thread) return;
    // The caller destroys what the thread uses, so it must not return before the thread has ended.
    while (::WaitForSingleObject(thread.Get(), INFINITE) != WAIT_OBJECT_0) ::Sleep(1);
    thread.Reset();
}

}  // namespace TELNET
