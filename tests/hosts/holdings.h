#pragma once

#include <windows.h>

#include "hosts/process_heap.h"
#include "hosts/report.h"
#include "support/heap_groups.h"
#include "support/runtime_heap.h"

// What this process holds at the moment.
struct Holdings {
    long handles = 0;
    long slots = 0;          // thread-local slots that are taken
    long runtimeBlocks = 0;  // in the heap of msvcrt.dll, which the library uses
    long processBlocks = 0;  // in the process's heap
    long privateBytes = 0;

    [[nodiscard]] static Holdings Now() {
        static bool isFirst = true;
        if (isFirst) FillHeapGroups();
        isFirst = false;
        Holdings now;
        now.handles = CountHandles();
        now.slots = CountSlots();
        now.runtimeBlocks = RuntimeHeap::Now().blocks;
        now.processBlocks = ProcessHeap::Blocks();
        now.privateBytes = CountPrivateBytes();
        return now;
    }

private:
    // Wine's GetProcessHandleCount always answers 0, so this counts in the list of all handles.
    static long CountHandles() {
        struct Entry {
            ULONG owner;
            BYTE type;
            BYTE flags;
            USHORT value;
            void* object;
            ULONG access;
        };
        constexpr ULONG systemHandleInformation = 16;
        constexpr ULONG size = 1 << 20;
        using Query = LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*);
        const auto query = reinterpret_cast<Query>(reinterpret_cast<void*>(
            ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
        auto* const answer =
            static_cast<ULONG*>(::VirtualAlloc(nullptr, size, MEM_COMMIT, PAGE_READWRITE));
        ULONG length = 0;
        const LONG status = query(systemHandleInformation, answer, size, &length);
        const auto* const entries = reinterpret_cast<const Entry*>(answer + 1);
        long count = 0;
        for (ULONG i = 0; status == 0 && i < answer[0]; ++i) {
            if (entries[i].owner == ::GetCurrentProcessId()) ++count;
        }
        (void)::VirtualFree(answer, 0, MEM_RELEASE);
        return count;
    }

    static long CountSlots() {
        constexpr long all = 1088;
        static DWORD slots[all];
        long free = 0;
        while (free < all && (slots[free] = ::TlsAlloc()) != TLS_OUT_OF_INDEXES) ++free;
        for (long i = 0; i < free; ++i) (void)::TlsFree(slots[i]);
        return all - free;
    }

    static long CountPrivateBytes() {
        long bytes = 0;
        const BYTE* address = nullptr;
        MEMORY_BASIC_INFORMATION region = {};
        while (::VirtualQuery(address, &region, sizeof(region)) != 0) {
            if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE)
                bytes += static_cast<long>(region.RegionSize);
            const BYTE* const next =
                static_cast<const BYTE*>(region.BaseAddress) + region.RegionSize;
            if (next <= address) break;
            address = next;
        }
        return bytes;
    }
};

// Expects that the process holds no more than before, except for `tokens` handles.
inline void ExpectNothingLeft(const Holdings& before, const Holdings& after, long tokens) {
    constexpr long pageNoise = 64 * 1024;
    Expect(before.handles > 0, "handles can be counted");
    ExpectEqual(before.handles + tokens, after.handles, "no handle is left but the tokens");
    ExpectEqual(before.slots, after.slots, "no thread-local slot stays taken");
    ExpectEqual(before.runtimeBlocks, after.runtimeBlocks,
                "no block of the runtime's heap is left");
    ExpectEqual(before.processBlocks, after.processBlocks,
                "no block of the process's heap is left");
    Expect(after.privateBytes <= before.privateBytes + pageNoise, "no private memory is left");
}
