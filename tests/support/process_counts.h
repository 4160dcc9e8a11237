#pragma once

#include <windows.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <vector>

#include "support/runtime_heap.h"

// What this process holds at the moment: handles, threads, and blocks and bytes of the C heap.
struct ProcessCounts {
    std::size_t handles = 0;
    std::size_t threads = 0;
    std::size_t heapBlocks = 0;
    std::size_t heapBytes = 0;

    [[nodiscard]] static ProcessCounts Now() {
        ProcessCounts counts;
        counts.handles = CountHandles();
        counts.threads = CountThreads();
        counts.CountHeap();
        return counts;
    }

    // Only the handles; faster than Now().
    [[nodiscard]] static std::size_t Handles() { return CountHandles(); }

    // Whether the heap counts include what `new` allocates. They do not in a program with its own
    // allocator, nor where the heap is not counted.
    [[nodiscard]] static bool IncludeAllocations() {
        (void)Now();
        const std::size_t before = Now().heapBlocks;
        void* const block = ::operator new(1);
        const std::size_t after = Now().heapBlocks;
        ::operator delete(block);
        return after > before;
    }

    // Whether Wine checks the heap (scripts/test --heap). Wine then keeps freed blocks for a while,
    // so the counts of the heap and the private bytes of a process mean nothing. The heap is not
    // counted then.
    [[nodiscard]] static bool HeapIsChecked() {
        return std::getenv("MENDLOFT_HEAP_IS_CHECKED") != nullptr;
    }

    bool operator==(const ProcessCounts&) const = default;

    friend std::ostream& operator<<(std::ostream& out, const ProcessCounts& counts) {
        return out << counts.handles << " handles, " << counts.threads << " threads, "
                   << counts.heapBlocks << " heap blocks of " << counts.heapBytes << " bytes";
    }

private:
    static std::size_t CountHandles() {
        DWORD count = 0;
        (void)::GetProcessHandleCount(::GetCurrentProcess(), &count);
        return count != 0 ? count : CountSystemHandles();
    }

    // For Wine, where GetProcessHandleCount always answers 0: counts this process's handles in the
    // list of all handles.
    static std::size_t CountSystemHandles() {
        struct Entry {
            ULONG owner;
            BYTE type;
            BYTE flags;
            USHORT value;
            void* object;
            ULONG access;
        };
        constexpr ULONG systemHandleInformation = 16;
        using Query = LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*);
        const auto query = reinterpret_cast<Query>(
            ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation"));
        constexpr ULONG answerSize = 1 << 20;
        std::vector<ULONG> answer(answerSize / sizeof(ULONG));
        ULONG length = 0;
        (void)query(systemHandleInformation, answer.data(), answerSize, &length);
        const auto* first = reinterpret_cast<const Entry*>(answer.data() + 1);
        return static_cast<std::size_t>(std::count_if(
            first, first + answer.front(),
            [](const Entry& entry) { return entry.owner == ::GetCurrentProcessId(); }));
    }

    static std::size_t CountThreads() {
        const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
        THREADENTRY32 entry{};
        entry.dwSize = sizeof(entry);
        std::size_t count = 0;
        for (BOOL more = ::Thread32First(snapshot, &entry); more;
             more = ::Thread32Next(snapshot, &entry)) {
            if (entry.th32OwnerProcessID == ::GetCurrentProcessId()) ++count;
        }
        ::CloseHandle(snapshot);
        return count;
    }

    void CountHeap() {
        if (HeapIsChecked()) return;
        const RuntimeHeap::Use use = RuntimeHeap::Now();
        heapBlocks = static_cast<std::size_t>(use.blocks);
        heapBytes = static_cast<std::size_t>(use.bytes);
    }
};

// The counts before and after some work. The work is done once beforehand, because on first use the
// system and the runtimes allocate things that they never free. A lock does so when threads first
// contend for it, at any time. So there are up to three rounds, until one leaves the counts the
// same.
struct CountsAround {
    template <typename Work>
    explicit CountsAround(Work work) {
        work();
        (void)ProcessCounts::Now();
        for (int round = 0; round < 3; ++round) {
            before = ProcessCounts::Now();
            work();
            after = ProcessCounts::Now();
            if (before == after) break;
        }
    }

    ProcessCounts before;
    ProcessCounts after;
};
