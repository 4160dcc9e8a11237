#pragma once

#include <windows.h>

#include <malloc.h>

#include "support/pointer_patch.h"

// Counts the blocks of msvcrt.dll's heap, which the library's `malloc` and `new` use. The first
// call walks the heap; from then on every request that msvcrt.dll makes is followed. Needs no C++
// library.
//
// To walk the heap each time would not do: Wine 10 takes small blocks from groups of 31, shows a
// group as one block, and keeps the groups that are empty.
class RuntimeHeap {
public:
    struct Use {
        LONG blocks;
        LONG bytes;
    };

    [[nodiscard]] static Use Now() {
        static bool follows = false;
        if (!follows) Follow();
        follows = true;
        return use_;
    }

private:
    static void Follow() {
        _HEAPINFO block = {};
        while (::_heapwalk(&block) == _HEAPOK) {
            if (block._useflag == _USEDENTRY) Add(1, static_cast<LONG>(block._size));
        }
        Replace("HeapAlloc", allocate_, &Allocate);
        Replace("HeapReAlloc", reallocate_, &Reallocate);
        Replace("HeapFree", free_, &Free);
    }

    template <typename Function>
    static void Replace(const char* name, Function& real, Function replacement) {
        PointerPatch patch(FindImport(::GetModuleHandleW(L"msvcrt.dll"), name),
                           reinterpret_cast<void*>(replacement));
        real = reinterpret_cast<Function>(patch.Old());
        patch.Keep();
    }

    static void* WINAPI Allocate(HANDLE heap, DWORD flags, SIZE_T size) {
        void* const block = allocate_(heap, flags, size);
        if (block != nullptr) Add(1, SizeOf(heap, block));
        return block;
    }

    static void* WINAPI Reallocate(HANDLE heap, DWORD flags, void* block, SIZE_T size) {
        const LONG before = SizeOf(heap, block);
        void* const resized = reallocate_(heap, flags, block, size);
        if (resized != nullptr) Add(0, SizeOf(heap, resized) - before);
        return resized;
    }

    static BOOL WINAPI Free(HANDLE heap, DWORD flags, void* block) {
        if (block != nullptr) Add(-1, -SizeOf(heap, block));
        return free_(heap, flags, block);
    }

    static LONG SizeOf(HANDLE heap, const void* block) {
        return static_cast<LONG>(::HeapSize(heap, 0, block));
    }

    static void Add(LONG blocks, LONG bytes) {
        (void)::InterlockedExchangeAdd(&use_.blocks, blocks);
        (void)::InterlockedExchangeAdd(&use_.bytes, bytes);
    }

    static inline Use use_{};
    static inline decltype(&Allocate) allocate_ = nullptr;
    static inline decltype(&Reallocate) reallocate_ = nullptr;
    static inline decltype(&Free) free_ = nullptr;
};
