#pragma once

#include <windows.h>

#include <malloc.h>

// Wine 10 takes small blocks from groups once 17 of a size have been in use, or 2,048 were
// allocated, and keeps the groups. After this call, that adds no private memory on this thread,
// except for what is never freed. Needs no C++ library.
inline void FillHeapGroups() {
    constexpr SIZE_T largestInGroups = 0x800;
    constexpr int enough = 18;
    const HANDLE heaps[] = {::GetProcessHeap(), reinterpret_cast<HANDLE>(::_get_heap_handle())};
    for (const HANDLE heap : heaps) {
        for (SIZE_T size = 8; size <= largestInGroups; size += 16) {
            void* blocks[enough];
            for (void*& block : blocks) block = ::HeapAlloc(heap, 0, size);
            for (void* const block : blocks) (void)::HeapFree(heap, 0, block);
        }
    }
}
