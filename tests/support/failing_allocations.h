#pragma once

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "support/import_patch.h"

// Makes allocations of this program fail while this object lives, on any thread. `malloc` returns
// null, and `new`, which calls it, throws std::bad_alloc. Only one such object may live at a time.
class FailingAllocations {
public:
    struct Number {
        int which;  // the only one that fails, counted from 1
    };
    struct FromSize {
        std::size_t bytes;  // all of this size or more fail
    };

    explicit FailingAllocations(Number number) { remaining_ = number.which; }
    explicit FailingAllocations(FromSize size) { limit_ = size.bytes; }
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;
    ~FailingAllocations() {
        remaining_ = 0;
        limit_ = SIZE_MAX;
    }

    // Whether the program has come to the allocation with that number.
    [[nodiscard]] bool Happened() const { return remaining_ == 0; }

private:
    using Malloc = void*(__cdecl*)(std::size_t);

    static void* __cdecl Allocate(std::size_t size) {
        if (size >= limit_) return nullptr;
        if (remaining_ > 0 && --remaining_ == 0) return nullptr;
        return real_(size);
    }

    static inline const Malloc real_ =
        reinterpret_cast<Malloc>(::GetProcAddress(::GetModuleHandleW(L"msvcrt.dll"), "malloc"));
    static inline std::atomic<int> remaining_ = 0;
    static inline std::atomic<std::size_t> limit_ = SIZE_MAX;
    ImportPatch patch_{::GetModuleHandleW(nullptr), "malloc", reinterpret_cast<void*>(&Allocate)};
};
