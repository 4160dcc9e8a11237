#include "support/guard_page_allocator.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace {

// MEM_COMMIT where there is memory.
DWORD StateOf(const void* place) {
    MEMORY_BASIC_INFORMATION page{};
    ::VirtualQuery(place, &page, sizeof(page));
    return page.State;
}

// Calls that the compiler knows nothing about.
[[gnu::noinline]] void* Allocate(std::size_t size) {
    return std::malloc(size);
}

[[gnu::noinline]] void Free(void* block) {
    std::free(block);
}

void Write(void* block, std::ptrdiff_t place, char value) {
    static_cast<volatile char*>(block)[place] = value;
}

class GuardedBlock : public testing::TestWithParam<std::size_t> {
protected:
    ~GuardedBlock() override { Free(block); }

    char* block = static_cast<char*>(Allocate(GetParam()));
};

TEST_P(GuardedBlock, HasNothingBehindIt) {
    ASSERT_TRUE(GuardPageAllocator::Guards(block));

    EXPECT_EQ(DWORD{MEM_COMMIT}, StateOf(block));
    EXPECT_EQ(DWORD{MEM_COMMIT}, StateOf(block + GetParam() - 1));
    EXPECT_EQ(DWORD{MEM_RESERVE}, StateOf(block + GetParam() + 7));
}

TEST_P(GuardedBlock, IsGoneOnceFreed) {
    const char* const place = block;

    Free(std::exchange(block, nullptr));

    EXPECT_EQ(DWORD{MEM_RESERVE}, StateOf(place));
}

TEST_P(GuardedBlock, KeepsItsContentWhenItGrows) {
    std::memset(block, 'x', GetParam());

    block = static_cast<char*>(std::realloc(block, GetParam() + 10'000));

    EXPECT_TRUE(GuardPageAllocator::Guards(block));
    EXPECT_EQ('x', block[0]);
    EXPECT_EQ('x', block[GetParam() - 1]);
}

INSTANTIATE_TEST_SUITE_P(, GuardedBlock, testing::Values(1, 8, 9, 4095, 4096, 4097, 1'000'000));

TEST(GuardPageAllocator, GuardsWhatNewGives) {
    const auto number = std::make_unique<int>(7);

    EXPECT_TRUE(GuardPageAllocator::Guards(number.get()));
}

TEST(GuardPageAllocator, GuardsAnEmptyBlockAndFreesIt) {
    void* const block = Allocate(0);

    EXPECT_TRUE(GuardPageAllocator::Guards(block));
    Free(block);

    EXPECT_EQ(DWORD{MEM_RESERVE}, StateOf(block));
}

TEST(GuardPageAllocator, LeavesBlocksOfMoreThanSixteenMegabytesToTheHeap) {
    void* const block = Allocate(17 * 1024 * 1024);

    EXPECT_NE(nullptr, block);
    EXPECT_FALSE(GuardPageAllocator::Guards(block));
    Free(block);
}

TEST(GuardPageAllocatorDeathTest, EndsTheProgramForABlockThatWasFreedBefore) {
    void* const block = Allocate(10);
    Free(block);

    EXPECT_DEATH(Free(block), "freed twice");
}

TEST(GuardPageAllocatorDeathTest, EndsTheProgramForAByteWrittenInFront) {
    void* const block = Allocate(10);
    Write(block, -1, 'x');

    EXPECT_DEATH(Free(block), "written to in front");

    Write(block, -1, '\xFB');
    Free(block);
}

TEST(GuardPageAllocatorDeathTest, EndsTheProgramForAByteWrittenRightBehind) {
    void* const block = Allocate(10);
    Write(block, 10, 'x');

    EXPECT_DEATH(Free(block), "written to behind");

    Write(block, 10, '\xFB');
    Free(block);
}

}  // namespace
