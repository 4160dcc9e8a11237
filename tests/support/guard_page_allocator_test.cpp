#include "support/guard_page_allocator.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace {

// MEM_COMMIT where there is memory, MEM_RESERVE where there is none.
DWORD StateOf(const void* place) {
    MEMORY_BASIC_INFORMATION page{};
    ::VirtualQuery(place, &page, sizeof(page));
    return page.State;
}

// Not inlined, so that the compiler cannot leave the calls out.
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

TEST_P(GuardedBlock, HasNoMemoryAfterIt) {
    ASSERT_TRUE(GuardPageAllocator::Guards(block));

    EXPECT_EQ(DWORD{MEM_COMMIT}, StateOf(block));
    EXPECT_EQ(DWORD{MEM_COMMIT}, StateOf(block + GetParam() - 1));
    EXPECT_EQ(DWORD{MEM_RESERVE}, StateOf(block + GetParam() + 7));
}

TEST_P(GuardedBlock, LosesItsMemoryWhenFreed) {
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

TEST(GuardPageAllocator, GuardsBlocksFromNew) {
    const auto number = std::make_unique<int>(7);

    EXPECT_TRUE(GuardPageAllocator::Guards(number.get()));
}

TEST(GuardPageAllocator, GuardsAnEmptyBlockAndFreesIt) {
    void* const block = Allocate(0);

    EXPECT_TRUE(GuardPageAllocator::Guards(block));
    Free(block);

    EXPECT_EQ(DWORD{MEM_RESERVE}, StateOf(block));
}

TEST(GuardPageAllocator, LeavesBlocksOfMoreThan16MegabytesToTheHeap) {
    void* const block = Allocate(17 * 1024 * 1024);

    EXPECT_NE(nullptr, block);
    EXPECT_FALSE(GuardPageAllocator::Guards(block));
    Free(block);
}

TEST(GuardPageAllocatorDeathTest, EndsTheProgramWhenABlockIsFreedTwice) {
    void* const block = Allocate(10);
    Free(block);

    EXPECT_DEATH(Free(block), "freed twice");
}

TEST(GuardPageAllocatorDeathTest, EndsTheProgramForAByteWrittenJustBeforeABlock) {
    void* const block = Allocate(10);
    Write(block, -1, 'x');

    EXPECT_DEATH(Free(block), "written to before its start");

    Write(block, -1, '\xFB');
    Free(block);
}

TEST(GuardPageAllocatorDeathTest, EndsTheProgramForAByteWrittenJustAfterABlock) {
    void* const block = Allocate(10);
    Write(block, 10, 'x');

    EXPECT_DEATH(Free(block), "written to after its end");

    Write(block, 10, '\xFB');
    Free(block);
}

}  // namespace
