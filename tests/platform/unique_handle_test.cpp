#include "platform/unique_handle.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<int> closed;

struct NumberTraits {
    using Value = int;
    static Value Empty() noexcept { return -1; }
    static void Close(Value value) noexcept {
        closed.push_back(value);
        ::SetLastError(99);
    }
};
using Number = Unique<NumberTraits>;

class UniqueTest : public testing::Test {
protected:
    UniqueTest() { closed.clear(); }
};

TEST_F(UniqueTest, OwnsNothingAtFirst) {
    {
        const Number number;
        EXPECT_FALSE(number);
    }

    EXPECT_THAT(closed, IsEmpty());
}

TEST_F(UniqueTest, ClosesWhatItOwnsOnce) {
    {
        const Number number(7);
        EXPECT_TRUE(number);
        EXPECT_EQ(7, number.Get());
    }

    EXPECT_THAT(closed, ElementsAre(7));
}

TEST_F(UniqueTest, GivesUpOwnershipWhenDetached) {
    {
        Number number(7);
        EXPECT_EQ(7, number.Detach());
        EXPECT_FALSE(number);
    }

    EXPECT_THAT(closed, IsEmpty());
}

TEST_F(UniqueTest, TransfersOwnershipWhenMoved) {
    {
        Number first(7);
        const Number second(std::move(first));
        EXPECT_EQ(7, second.Get());
    }

    EXPECT_THAT(closed, ElementsAre(7));
}

TEST_F(UniqueTest, ClosesTheOldValueWhenAssigned) {
    Number first(7);
    Number second(8);

    first = std::move(second);

    EXPECT_THAT(closed, ElementsAre(7));
    EXPECT_EQ(8, first.Get());
    EXPECT_FALSE(second);  // NOLINT(bugprone-use-after-move): a moved-from owner is empty
}

TEST_F(UniqueTest, KeepsItsValueWhenAssignedToItself) {
    Number number(7);
    Number& same = number;

    number = std::move(same);

    EXPECT_THAT(closed, IsEmpty());
    EXPECT_EQ(7, number.Get());
}

TEST_F(UniqueTest, ClosesTheOldValueBeforeItReceivesANewOne) {
    Number number(7);

    *number.Receive() = 8;

    EXPECT_THAT(closed, ElementsAre(7));
    EXPECT_EQ(8, number.Get());
}

TEST_F(UniqueTest, LeavesTheLastErrorUnchanged) {
    ::SetLastError(5);

    (void)Number(7);

    EXPECT_EQ(5u, ::GetLastError());
}

TEST_F(UniqueTest, ClosesRealHandles) {
    const HANDLE event = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);

    (void)UniqueHandle(event);

    DWORD flags = 0;
    EXPECT_FALSE(::GetHandleInformation(event, &flags));
}

}  // namespace
