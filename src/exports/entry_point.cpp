#include <windows.h>

#include <array>
#include <cstddef>

// With mingw-w64 only: stands around the entry point of GCC's runtime, which takes a thread-local
// slot of the process whenever the library is loaded and does not give it back when it is unloaded.
// There are 1,088 slots, and the runtime ends the process when it gets none, so a host that loads
// the library for each call would come to its end. The linker is told to begin here, and to let the
// runtime take its slots here (src/CMakeLists.txt).

// The standard library's, for programs that look for leaks: frees what it keeps for exceptions that
// are thrown when memory has run out.
namespace __gnu_cxx {
void __freeres();  // NOLINT(bugprone-reserved-identifier,readability-identifier-naming)
}

namespace {

std::array<DWORD, 4> g_slots{};  // that the runtime has taken; it takes one
std::size_t g_slotCount = 0;

// The slots are taken before the library's own code runs, under the loader's lock.
DWORD WINAPI TakeSlot() {
    using TlsAllocation = DWORD(WINAPI*)();
    const auto allocate = reinterpret_cast<TlsAllocation>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "TlsAlloc")));
    const DWORD slot = allocate == nullptr ? TLS_OUT_OF_INDEXES : allocate();
    if (slot != TLS_OUT_OF_INDEXES && g_slotCount < g_slots.size()) g_slots[g_slotCount++] = slot;
    return slot;
}

// Of a thread that has used the library, the runtime keeps a record with two handles until the
// thread ends. That of the thread that unloads the library goes now, by telling the runtime that it
// ends.
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

// Nobody uses them any more: the runtime has been shut down, and threads of the library have ended.
void GiveSlotsBack() {
    while (g_slotCount > 0) (void)::TlsFree(g_slots[--g_slotCount]);
}

}  // namespace

extern "C" {

BOOL WINAPI DllMainCRTStartup(HINSTANCE module, DWORD reason, LPVOID reserved);

// Takes the place of the imported function's address.
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
