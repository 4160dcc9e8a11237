#include "support/guard_page_allocator.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "support/import_patch.h"

namespace {

constexpr std::size_t kPageSize = 4096;
constexpr std::size_t kPages = 96 * 1024;  // 384 MB of the 2 GB that a 32-bit process has
constexpr std::size_t kLargestBlock = 16 * 1024 * 1024;
constexpr std::size_t kMostBlocks = 16'000;  // the system below Wine splits a mapping for each
constexpr std::size_t kAlignment = 8;        // that of msvcrt.dll
constexpr std::uint8_t kFresh = 0xCD;
constexpr std::uint8_t kFence = 0xFB;

class SlimLock {
public:
    void lock() { ::AcquireSRWLockExclusive(&lock_); }
    void unlock() { ::ReleaseSRWLockExclusive(&lock_); }

private:
    SRWLOCK lock_ = SRWLOCK_INIT;
};

// The pages of all guarded blocks, handed out in a circle, so that those of a freed block stay
// unused for as long as possible. Nothing in this class may allocate.
class Arena {
public:
    // Returns null when there is no room.
    void* Allocate(std::size_t size) {
        const std::lock_guard hold(lock_);
        if (size > kLargestBlock || blocks_ == kMostBlocks || !Reserve()) return nullptr;
        const std::size_t pages = (Aligned(size) + kPageSize - 1) / kPageSize;
        const std::size_t first = FindRoom(pages + 1);
        if (first == kPages) return nullptr;
        if (::VirtualAlloc(Page(first), pages * kPageSize, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
            return nullptr;
        }
        std::fill_n(pages_.begin() + first, pages + 1, Use{.taken = true});
        ++blocks_;
        next_ = first + pages + 1;
        return Place(first, pages, size);
    }

    [[nodiscard]] bool Holds(const void* block) const {
        const auto* const place = static_cast<const std::uint8_t*>(block);
        return base_ != nullptr && place >= base_ && place < base_ + kPages * kPageSize;
    }

    // The requested size.
    [[nodiscard]] std::size_t Size(const void* block) const { return pages_[PageOf(block)].size; }

    void Free(void* block) {
        const std::lock_guard hold(lock_);
        const std::size_t first = PageOf(block);
        const Use use = pages_[first];
        if (use.pages == 0) Fail("freed twice, or never allocated", block);
        CheckFences(first, use, static_cast<std::uint8_t*>(block));
        ::VirtualFree(Page(first), use.pages * kPageSize, MEM_DECOMMIT);
        std::fill_n(pages_.begin() + first, use.pages + 1, Use{});
        --blocks_;
    }

private:
    // The use of a page. The first page of a block also describes the block.
    struct Use {
        bool taken = false;
        std::size_t pages = 0;  // without the guard page
        std::size_t size = 0;
    };

    bool Reserve() {
        if (base_ != nullptr) return true;
        base_ = static_cast<std::uint8_t*>(
            ::VirtualAlloc(nullptr, kPages * kPageSize, MEM_RESERVE, PAGE_NOACCESS));
        return base_ != nullptr;
    }

    // Returns the first of `count` free pages in a row, or kPages.
    std::size_t FindRoom(std::size_t count) {
        const std::size_t found = FindRoom(count, next_, kPages);
        return found != kPages ? found : FindRoom(count, 0, std::min(next_ + count, kPages));
    }

    std::size_t FindRoom(std::size_t count, std::size_t begin, std::size_t end) {
        std::size_t free = 0;
        for (std::size_t page = begin; page < end; ++page) {
            free = pages_[page].taken ? 0 : free + 1;
            if (free == count) return page + 1 - count;
        }
        return kPages;
    }

    // An empty block has its own address too.
    static std::size_t Aligned(std::size_t size) {
        return (std::max<std::size_t>(size, 1) + kAlignment - 1) / kAlignment * kAlignment;
    }

    void* Place(std::size_t first, std::size_t pages, std::size_t size) {
        std::uint8_t* const begin = Page(first);
        std::uint8_t* const end = begin + pages * kPageSize;
        std::uint8_t* const block = end - Aligned(size);
        std::fill(begin, block, kFence);
        std::fill(block, block + size, kFresh);
        std::fill(block + size, end, kFence);
        pages_[first].pages = pages;
        pages_[first].size = size;
        return block;
    }

    void CheckFences(std::size_t first, const Use& use, std::uint8_t* block) {
        const auto changed = [](std::uint8_t byte) { return byte != kFence; };
        std::uint8_t* const end = Page(first) + use.pages * kPageSize;
        if (block + use.size > end || std::any_of(Page(first), block, changed)) {
            Fail("written to before its start", block);
        }
        if (std::any_of(block + use.size, end, changed)) Fail("written to after its end", block);
    }

    [[noreturn]] static void Fail(const char* what, void* block) {
        std::fprintf(stderr, "The block at %p was %s.\n", block, what);
        std::abort();
    }

    [[nodiscard]] std::uint8_t* Page(std::size_t index) const { return base_ + index * kPageSize; }

    [[nodiscard]] std::size_t PageOf(const void* block) const {
        return static_cast<std::size_t>(static_cast<const std::uint8_t*>(block) - base_) /
               kPageSize;
    }

    SlimLock lock_;
    std::uint8_t* base_ = nullptr;
    std::array<Use, kPages> pages_;
    std::size_t next_ = 0;
    std::size_t blocks_ = 0;
};

constinit Arena g_arena;

// Replacements for msvcrt.dll's functions.

template <typename Function>
Function* Real(const char* name) {
    return reinterpret_cast<Function*>(::GetProcAddress(::GetModuleHandleW(L"msvcrt.dll"), name));
}

// Looked up before anything is replaced.
const auto g_malloc = Real<void* __cdecl(std::size_t)>("malloc");
const auto g_calloc = Real<void* __cdecl(std::size_t, std::size_t)>("calloc");
const auto g_realloc = Real<void* __cdecl(void*, std::size_t)>("realloc");
const auto g_free = Real<void __cdecl(void*)>("free");

void* __cdecl Malloc(std::size_t size) {
    void* const block = g_arena.Allocate(size);
    return block != nullptr ? block : g_malloc(size);
}

void* __cdecl Calloc(std::size_t count, std::size_t size) {
    const bool fits = size == 0 || count <= kLargestBlock / size;
    void* const block = fits ? g_arena.Allocate(count * size) : nullptr;
    return block != nullptr ? std::memset(block, 0, count * size) : g_calloc(count, size);
}

void __cdecl Free(void* block) {
    g_arena.Holds(block) ? g_arena.Free(block) : g_free(block);
}

void* __cdecl Realloc(void* block, std::size_t size) {
    if (block == nullptr) return Malloc(size);
    if (!g_arena.Holds(block)) return g_realloc(block, size);
    void* const other = size == 0 ? nullptr : Malloc(size);
    if (other != nullptr) std::memcpy(other, block, std::min(size, g_arena.Size(block)));
    if (other != nullptr || size == 0) Free(block);
    return other;
}

// Stays installed until the process ends, because guarded blocks live that long.
void Install(const char* name, void* replacement) {
    ImportPatch::VisitImports(
        ::GetModuleHandleW(nullptr), [&](std::string_view import, void** slot) {
            if (import != name) return;
            DWORD protection = 0;
            ::VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
            *slot = replacement;
            ::VirtualProtect(slot, sizeof(*slot), protection, &protection);
        });
}

[[maybe_unused]] const bool g_installed = [] {
    Install("free", reinterpret_cast<void*>(&Free));  // first, because it accepts any block
    Install("realloc", reinterpret_cast<void*>(&Realloc));
    Install("calloc", reinterpret_cast<void*>(&Calloc));
    Install("malloc", reinterpret_cast<void*>(&Malloc));
    return true;
}();

}  // namespace

bool GuardPageAllocator::Guards(const void* block) {
    return g_arena.Holds(block);
}
