#include "telnet/sockets.h"

#include <mutex>

namespace TELNET {

namespace {

constexpr int kWaits = 100;

// A wait that fails is repeated, because its failure says nothing about the thread.
bool HasEnded(HANDLE thread) {
    for (int i = 0; i < kWaits; ++i) {
        if (::WaitForSingleObject(thread, INFINITE) == WAIT_OBJECT_0) return true;
        ::Sleep(1);
    }
    return false;
}

bool StayLoaded() {
    HMODULE module = nullptr;
    return ::GetModuleHandleExW(
               GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
               reinterpret_cast<const wchar_t*>(&StayLoaded), &module) != FALSE;
}

}  // namespace

void CloseSocket(std::atomic<SOCKET>& socket) {
    const SOCKET old = socket.exchange(INVALID_SOCKET);
    if (old != INVALID_SOCKET) (void)::closesocket(old);
}

bool CloseAndWait(CriticalSection& lock, std::atomic<SOCKET>& socket, UniqueHandle& thread) {
    {
        const std::lock_guard guard(lock);
        CloseSocket(socket);
    }

    // The closed socket makes the thread's pending recv fail. The wait is outside the lock, because
    // the thread takes the lock when it ends. It is needed even when the thread has closed the
    // socket itself: the thread may not have ended yet, and its handle is open.
    if (!thread) return true;
    while (!HasEnded(thread.Get())) {
        // Without the code that it runs, the thread would crash. So the wait has no limit as long
        // as the module can be unloaded.
        if (StayLoaded()) return false;
    }
    thread.Reset();
    return true;
}

}  // namespace TELNET
