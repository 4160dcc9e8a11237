#include "mendloftctl/interruption.h"

namespace ctl {

namespace {

// The event of the one Interruption there is.
HANDLE g_interrupted = nullptr;

// Runs on a thread of the system's own. When the console is closed, Windows ends the program as
// soon as this returns, and after some seconds anyway.
BOOL WINAPI OnConsoleEvent(DWORD event) {
    constexpr DWORD longEnoughToTidyUpMs = 10'000;
    ::SetEvent(g_interrupted);
    if (event == CTRL_CLOSE_EVENT) ::Sleep(longEnoughToTidyUpMs);
    return TRUE;
}

}  // namespace

Interruption::Interruption() : event_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    g_interrupted = event_.Get();
    (void)::SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

Interruption::~Interruption() {
    (void)::SetConsoleCtrlHandler(OnConsoleEvent, FALSE);
    g_interrupted = nullptr;
}

}  // namespace ctl
