#include <windows.h>

#include "core/library_state.h"

// Stores the module handle, with which the library finds its resource and its own folder. Does
// nothing else, because Windows calls this function under the loader lock.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) g_libraryModule = module;
    return TRUE;
}
