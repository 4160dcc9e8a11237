#include <windows.h>

#include <cstddef>

#include "exports/gcc_runtime.h"

// For mingw-w64 only. Wraps the entry point of GCC's runtime, which starts even when it gets no
// memory, and leaves memory behind when the library is unloaded.

// Part of the standard library, for programs that search for leaks. Frees the memory that the
// standard library sets aside for exceptions thrown when memory has run out.
namespace __gnu_cxx {
void __freeres();  // NOLINT(bugprone-reserved-identifier,readability-identifier-naming)
}

namespace {

bool g_isStarting = false;
bool g_gotNoMemory = false;

void* Note(void* memory) {
    if (g_isStarting && memory == nullptr) g_gotNoMemory = true;
    return memory;
}

}  // namespace

extern "C" {

BOOL WINAPI DllMainCRTStartup(HINSTANCE module, DWORD reason, LPVOID reserved);

// The linker has the whole library call these in place of malloc and calloc.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);

void* __wrap_malloc(std::size_t size) {
    return Note(__real_malloc(size));
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
    return Note(__real_calloc(count, size));
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

}  // extern "C"

namespace {

BOOL Stop(HINSTANCE module) {
    const BOOL result = DllMainCRTStartup(module, DLL_PROCESS_DETACH, nullptr);
    __gnu_cxx::__freeres();
    ForgetAllThreads();
    return result;
}

// Without the memory that is set aside for exceptions, the first one that is thrown when memory has
// run out would end the process. So the library is not loaded then.
BOOL Start(HINSTANCE module, LPVOID reserved) {
    g_isStarting = true;
    const BOOL result = DllMainCRTStartup(module, DLL_PROCESS_ATTACH, reserved);
    g_isStarting = false;
    if (!g_gotNoMemory) return result;
    (void)Stop(module);
    return FALSE;
}

}  // namespace

extern "C" BOOL WINAPI MendloftEntryPoint(HINSTANCE module, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH) return Start(module, reserved);
    const bool processGoesOn = reserved == nullptr;
    if (reason == DLL_PROCESS_DETACH && processGoesOn) return Stop(module);
    const BOOL result = DllMainCRTStartup(module, reason, reserved);
    if (reason == DLL_THREAD_DETACH) ForgetThisThread();
    return result;
}
