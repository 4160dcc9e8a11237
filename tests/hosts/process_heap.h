#pragma once

#include <windows.h>

#include "hosts/report.h"

// Counts the blocks of the process's heap that are in use, from the first call on: each request is
// followed. For the reason see support/runtime_heap.h.
class ProcessHeap {
public:
    [[nodiscard]] static long Blocks() {
        static bool follows = false;
        if (!follows) Follow();
        follows = true;
        return blocks_;
    }

private:
    static void Follow() {
        Divert("RtlAllocateHeap", allocate_, &Allocate);
        Divert("RtlFreeHeap", free_, &Free);
    }

    // Makes a function of ntdll.dll begin with a jump. `real` then does what the function did.
    template <typename Function>
    static void Divert(const char* name, Function& real, Function replacement) {
        constexpr DWORD jumpSize = 5;
        auto* const place = reinterpret_cast<BYTE*>(
            reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), name)));
        auto* const moved = static_cast<BYTE*>(
            ::VirtualAlloc(nullptr, 2 * jumpSize, MEM_COMMIT, PAGE_EXECUTE_READWRITE));
        // What every function begins with that Windows prepares for this: mov edi, edi; push ebp;
        // mov ebp, esp.
        constexpr BYTE beginning[jumpSize] = {0x8B, 0xFF, 0x55, 0x8B, 0xEC};
        for (DWORD i = 0; i < jumpSize; ++i) {
            if (!Expect(place[i] == beginning[i], "the process's heap can be followed")) return;
            moved[i] = place[i];
        }
        WriteJump(moved + jumpSize, place + jumpSize);
        real = reinterpret_cast<Function>(reinterpret_cast<void*>(moved));

        DWORD protection = 0;
        (void)::VirtualProtect(place, jumpSize, PAGE_EXECUTE_READWRITE, &protection);
        WriteJump(place, reinterpret_cast<const BYTE*>(replacement));
        (void)::VirtualProtect(place, jumpSize, protection, &protection);
    }

    static void WriteJump(BYTE* place, const BYTE* target) {
        const LONG distance = static_cast<LONG>(target - (place + 1 + sizeof(LONG)));
        place[0] = 0xE9;
        for (DWORD i = 0; i < sizeof(LONG); ++i) {
            place[1 + i] = static_cast<BYTE>(static_cast<DWORD>(distance) >> (8 * i));
        }
    }

    static void* WINAPI Allocate(HANDLE heap, ULONG flags, SIZE_T size) {
        void* const block = allocate_(heap, flags, size);
        if (block != nullptr && heap == ::GetProcessHeap()) (void)::InterlockedIncrement(&blocks_);
        return block;
    }

    static ULONG WINAPI Free(HANDLE heap, ULONG flags, void* block) {
        if (block != nullptr && heap == ::GetProcessHeap()) (void)::InterlockedDecrement(&blocks_);
        return free_(heap, flags, block);
    }

    static inline LONG blocks_ = 0;
    static inline decltype(&Allocate) allocate_ = nullptr;
    static inline decltype(&Free) free_ = nullptr;
};
