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

    // The closed socket makes the thread's pending recv fail. The wait lies outside of the lock,
    // because the thread takes it while it ends, and it comes also when the thread has closed the
    // socket by itself: it may still be running, and its handle is still open.
    if (!thread) return;
    // What the thread works on goes next, so a wait that fails must not let anybody past it.
    while (::WaitForSingleObject(thread.Get(), INFINITE) != WAIT_OBJECT_0) ::Sleep(1);
    thread.Reset();
}

}  // namespace TELNET
