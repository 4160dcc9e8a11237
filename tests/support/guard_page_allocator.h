#pragma once

// For test programs that have guard_page_allocator.cpp among their sources (the preset `guarded`
// adds it to all of them): malloc and what goes with it, and so `new` too, place each block against
// the end of a page with nothing behind it, and take the pages of a freed block away. Reading or
// writing behind a block or in a freed one then crashes at once. Bytes in front of a block, and
// those that alignment leaves behind it, are looked over when it is freed; a change ends the
// program.
//
// A part of the address space is set apart for this. Blocks that it has no room for, and those that
// msvcrt.dll made itself, are the plain heap's.
class GuardPageAllocator {
public:
    GuardPageAllocator() = delete;

    // Whether the block lies against a guard page.
    [[nodiscard]] static bool Guards(const void* block);
};
