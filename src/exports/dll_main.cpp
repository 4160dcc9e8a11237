#include <windows.h>

#include "core/library_state.h"

// Keeps the module handle, with which the library finds its resource and its own folder, and
// nothing more: the loader lock is held here.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) g_libraryModule = module;
    return TRUE;
}
