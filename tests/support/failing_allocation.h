#pragma once

#include <windows.h>

#include <atomic>
#include <cstddef>

#include "support/import_patch.h"

// Lets one allocation of this program fail, counted from 1, on whichever thread it comes. `new`
// goes the same way.
class FailingAllocation {
public:
    explicit FailingAllocation(int which) { remaining_ = which; }
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation() { remaining_ = 0; }

    [[nodiscard]] bool Happened() const { return remaining_ == 0; }

private:
    using Malloc = void*(__cdecl*)(std::size_t);

    static void* __cdecl Allocate(std::size_t size) {
        if (remaining_ > 0 && --remaining_ == 0) return nullptr;
        return real_(size);
    }

    static inline const Malloc real_ =
        reinterpret_cast<Malloc>(::GetProcAddress(::GetModuleHandleW(L"msvcrt.dll"), "malloc"));
    static inline std::atomic<int> remaining_ = 0;
    ImportPatch patch_{::GetModuleHandleW(nullptr), "malloc", reinterpret_cast<void*>(&Allocate)};
};
