#include "mendloftctl/interruption.h"

namespace ctl {

namespace {

// The event of the only Interruption. Global, because Windows calls the handler below with nothing
// but the number of the request.
HANDLE g_interrupted = nullptr;

// Runs on a thread that Windows makes for it. When the console is closed, Windows ends the program
// as soon as this returns, and after some seconds in any case. So this waits, to leave the main
// thread as much of that time as there is.
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
