#include "exports/gcc_runtime.h"

#include <windows.h>

#include <cstdlib>

// For mingw-w64 only. Wraps the entry point of GCC's runtime, which never says that it got no
// memory when it started, and leaves memory behind when the library is unloaded.

// Part of the standard library, for programs that search for leaks. Frees the memory that the
// standard library sets aside for exceptions thrown when memory has run out.
namespace __gnu_cxx {
void __freeres();  // NOLINT(bugprone-reserved-identifier,readability-identifier-naming)
}

extern "C" BOOL WINAPI DllMainCRTStartup(HINSTANCE module, DWORD reason, LPVOID reserved);

namespace {

// Whether the runtime gets the memory that it takes when it starts, which is less than 64 KB. Some
// of it is for exceptions thrown when memory has run out: without it, such an exception ends the
// process, so the library is not loaded then.
bool HasMemoryToStart() {
    void* const memory = std::malloc(std::size_t{64} * 1024);
    std::free(memory);
    return memory != nullptr;
}

}  // namespace

extern "C" BOOL WINAPI MendloftEntryPoint(HINSTANCE module, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH && !HasMemoryToStart()) return FALSE;
    const BOOL result = DllMainCRTStartup(module, reason, reserved);
    const bool processGoesOn = reserved == nullptr;
    if (reason == DLL_THREAD_DETACH) ForgetThisThread();
    if (reason == DLL_PROCESS_DETACH && processGoesOn) {
        __gnu_cxx::__freeres();
        ForgetAllThreads();
    }
    return result;
}
