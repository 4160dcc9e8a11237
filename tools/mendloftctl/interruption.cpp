#include "mendloftctl/interruption.h"

#include "platform/unique_handle.h"

namespace ctl {

namespace {

UniqueHandle g_interrupted;

// Runs on a thread of the system's own. When the console is closed, Windows ends the program as
// soon as this returns, and after some seconds anyway.
BOOL WINAPI OnConsoleEvent(DWORD event) {
    constexpr DWORD longEnoughToTidyUpMs = 10'000;
    ::SetEvent(g_interrupted.Get());
    if (event == CTRL_CLOSE_EVENT) ::Sleep(longEnoughToTidyUpMs);
    return TRUE;
}

}  // namespace

Interruption::Interruption() {
    g_interrupted.Reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    (void)::SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

Interruption::~Interruption() {
    (void)::SetConsoleCtrlHandler(OnConsoleEvent, FALSE);
    g_interrupted.Reset();
}

HANDLE Interruption::Event() const {
    return g_interrupted.Get();
}

}  // namespace ctl
