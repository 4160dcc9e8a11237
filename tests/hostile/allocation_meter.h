#pragma once

#include <windows.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>

#include "support/import_patch.h"

// Counts the bytes that this program, 7-Zip included, has allocated and not freed, whether it has
// touched them or not. What Windows allocates for it (streams, strings) is not counted. Only one
// meter may exist at a time.
class AllocationMeter {
public:
    AllocationMeter() : peak_((current_ = this, 0)) {}
    AllocationMeter(const AllocationMeter&) = delete;
    AllocationMeter& operator=(const AllocationMeter&) = delete;

    // In bytes, since the meter was constructed; Peak and LargestRefused since the last
    // ForgetPeaks.
    [[nodiscard]] long long Live() const { return live_; }
    [[nodiscard]] long long LiveSince(long long before) const { return live_ - before; }
    [[nodiscard]] long long Peak() const { return peak_; }
    [[nodiscard]] long long LargestRefused() const { return refused_; }

    void ForgetPeaks() {
        peak_ = live_.load();
        refused_ = 0;
    }

private:
    static void* Taken(void* block, std::size_t asked, std::size_t size) {
        if (block == nullptr) {
            current_->refused_ = std::max(current_->refused_.load(), static_cast<long long>(asked));
        } else {
            current_->live_ += static_cast<long long>(size);
            current_->peak_ = std::max(current_->peak_.load(), current_->live_.load());
        }
        return block;
    }

    static std::size_t SizeOf(void* block) { return block == nullptr ? 0 : ::_msize(block); }

    static void* Malloc(std::size_t size) {
        void* const block = current_->malloc_.Real()(size);
        return Taken(block, size, SizeOf(block));
    }

    static void* Realloc(void* old, std::size_t size) {
        const std::size_t oldSize = SizeOf(old);
        void* const block = current_->realloc_.Real()(old, size);
        if (block != nullptr) current_->live_ -= static_cast<long long>(oldSize);
        return Taken(block, size, SizeOf(block));
    }

    static void Free(void* block) {
        current_->live_ -= static_cast<long long>(SizeOf(block));
        current_->free_.Real()(block);
    }

    static void* WINAPI VirtualAllocate(void* place, SIZE_T size, DWORD type, DWORD protection) {
        void* const block = current_->allocate_.Real()(place, size, type, protection);
        return Taken(block, size, RegionSize(block));
    }

    static BOOL WINAPI VirtualRelease(void* place, SIZE_T size, DWORD type) {
        current_->live_ -= static_cast<long long>(RegionSize(place));
        return current_->release_.Real()(place, size, type);
    }

    static std::size_t RegionSize(void* place) {
        MEMORY_BASIC_INFORMATION region{};
        (void)::VirtualQuery(place, &region, sizeof(region));
        return region.RegionSize;
    }

    template <typename Function>
    class Patch {
    public:
        Patch(const char* name, Function replacement)
            : patch_(::GetModuleHandleW(nullptr), name, reinterpret_cast<void*>(replacement)) {}

        [[nodiscard]] Function Real() const {
            return reinterpret_cast<Function>(patch_.Original());
        }

    private:
        ImportPatch patch_;
    };

    // Set before the patches are constructed, because they take effect at once.
    static inline AllocationMeter* current_ = nullptr;

    std::atomic<long long> live_ = 0;
    std::atomic<long long> peak_;
    std::atomic<long long> refused_ = 0;
    Patch<void* (*)(std::size_t)> malloc_{"malloc", &Malloc};
    Patch<void* (*)(void*, std::size_t)> realloc_{"realloc", &Realloc};
    Patch<void (*)(void*)> free_{"free", &Free};
    Patch<void*(WINAPI*)(void*, SIZE_T, DWORD, DWORD)> allocate_{"VirtualAlloc", &VirtualAllocate};
    Patch<BOOL(WINAPI*)(void*, SIZE_T, DWORD)> release_{"VirtualFree", &VirtualRelease};
};
