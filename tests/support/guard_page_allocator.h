#pragma once

// For test programs that link guard_page_allocator.cpp; the preset `guarded` adds it to all of
// them. malloc and its relatives, and so `new` too, place each block at the end of a page that is
// followed by an inaccessible one, and release the pages of a freed block. Reading or writing after
// a block or in a freed one then crashes at once. The bytes before a block, and those that
// alignment leaves after it, are checked when the block is freed. A change ends the program.
//
// Part of the address space is reserved for this. Blocks that do not fit there, and those that
// msvcrt.dll allocates itself, come from the plain heap.
class GuardPageAllocator {
public:
    GuardPageAllocator() = delete;

    // Whether the block lies before a guard page.
    [[nodiscard]] static bool Guards(const void* block);
};
