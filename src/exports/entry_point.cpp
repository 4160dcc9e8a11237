#include <windows.h>

#include <array>
#include <cstddef>

// For mingw-w64 only. Wraps the entry point of GCC's runtime, which takes a thread-local slot of
// the process each time the library is loaded and does not free it when the library is unloaded.
// Windows has 1,088 such slots, and the runtime ends the process when none is left. So a host that
// loads the library for every call would be ended after about a thousand calls. src/CMakeLists.txt
// tells the linker to start the library here and to have the runtime take its slots from here.

// Part of the standard library, for programs that search for leaks. Frees the memory that the
// standard library sets aside for exceptions thrown when memory has run out.
namespace __gnu_cxx {
void __freeres();  // NOLINT(bugprone-reserved-identifier,readability-identifier-naming)
}

namespace {

std::array<DWORD, 4> g_slots{};  // the slots that the runtime has taken; it takes one
std::size_t g_slotCount = 0;

// Replaces TlsAlloc for the runtime, which calls it under the loader lock, before any other code of
// the library runs.
DWORD WINAPI TakeSlot() {
    using TlsAllocation = DWORD(WINAPI*)();
    const auto allocate = reinterpret_cast<TlsAllocation>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "TlsAlloc")));
    const DWORD slot = allocate == nullptr ? TLS_OUT_OF_INDEXES : allocate();
    if (slot != TLS_OUT_OF_INDEXES && g_slotCount < g_slots.size()) g_slots[g_slotCount++] = slot;
    return slot;
}

// The runtime keeps a record with two handles for each thread that has used the library, until that
// thread ends. Frees the record of the thread that unloads the library, by telling the runtime that
// this thread ends.
void ForgetThisThread(HINSTANCE module) {
    const auto* const image = reinterpret_cast<const char*>(module);
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(image + dos->e_lfanew);
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_TLS];
    const auto* const tls =
        reinterpret_cast<const IMAGE_TLS_DIRECTORY*>(image + directory.VirtualAddress);
    const auto* callback = reinterpret_cast<const PIMAGE_TLS_CALLBACK*>(tls->AddressOfCallBacks);
    for (; *callback != nullptr; ++callback) (*callback)(module, DLL_THREAD_DETACH, nullptr);
}

// No slot is in use here: the runtime has shut down, and the library's threads have ended.
void GiveSlotsBack() {
    while (g_slotCount > 0) (void)::TlsFree(g_slots[--g_slotCount]);
}

}  // namespace

extern "C" {

BOOL WINAPI DllMainCRTStartup(HINSTANCE module, DWORD reason, LPVOID reserved);

// The linker uses this variable in place of the import table's entry for TlsAlloc.
extern DWORD(WINAPI* const kRuntimeTlsAlloc)();
DWORD(WINAPI* const kRuntimeTlsAlloc)() = &TakeSlot;

BOOL WINAPI MendloftEntryPoint(HINSTANCE module, DWORD reason, LPVOID reserved) {
    const BOOL result = DllMainCRTStartup(module, reason, reserved);
    const bool processGoesOn = reserved == nullptr;
    if (reason == DLL_PROCESS_DETACH && processGoesOn) {
        ForgetThisThread(module);
        __gnu_cxx::__freeres();
        GiveSlotsBack();
    }
    return result;
}
}
