#pragma once

#include <windows.h>
#include <malloc.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <vector>

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

    // Only the first of them; quicker.
    [[nodiscard]] static std::size_t Handles() { return CountHandles(); }

    // Whether the heap's counts take in what `new` allocates. They do not in a program that has an
    // allocator of its own, nor where the heap is not counted.
    [[nodiscard]] static bool IncludeAllocations() {
        (void)Now();
        const std::size_t before = Now().heapBlocks;
        void* const block = ::operator new(1);
        const std::size_t after = Now().heapBlocks;
        ::operator delete(block);
        return after > before;
    }

    // Whether Wine checks the heap (scripts/test-heap). It then keeps freed blocks for a while, and
    // how many and how large they are says nothing: the heap is not counted, and the private bytes
    // of a process are as uncertain.
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

    // For Wine, whose GetProcessHandleCount knows only 0: picks ours among all processes' handles.
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
        std::vector<ULONG> answer(1 << 18);
        ULONG length = 0;
        (void)query(systemHandleInformation, answer.data(),
                    static_cast<ULONG>(answer.size() * sizeof(ULONG)), &length);
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
        _HEAPINFO block{};
        while (::_heapwalk(&block) == _HEAPOK) {
            if (block._useflag != _USEDENTRY) continue;
            ++heapBlocks;
            heapBytes += block._size;
        }
    }
};

// The counts before and after some work, which is done once beforehand: the first time, the system
// and the runtimes take things for good. A lock does so when threads first meet at it, whenever
// that is, so what is left has to be left three times in a row to show.
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
