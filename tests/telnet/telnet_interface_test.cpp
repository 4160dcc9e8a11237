#include "telnet/telnet_interface.h"

#include <gmock/gmock.h>

#include <climits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/fake_api.h"
#include "support/failing_allocations.h"
#include "support/process_counts.h"
#include "telnet/virtual_slots.h"

namespace {

class Connection final : public TELNET::TelnetInterface {
public:
    bool SendFormat(std::uint32_t, const char*, ...) override { return true; }
    bool SendBlock(const TELNET::NxBlock*) override { return true; }

    using TelnetInterface::holdLock;
    using TelnetInterface::lastText;
    using TelnetInterface::messages;
    using TelnetInterface::queueLock;
    using TelnetInterface::spareLock;
    using TelnetInterface::spareQueue;
};

class ReceivedLineQueue : public testing::Test {
protected:
    void Push(const std::string& text, std::int32_t itsTag = 0) {
        connection.PushMessage(text.data(), static_cast<std::int32_t>(text.size()), itsTag);
    }

    Connection connection;
    std::int32_t tag = 99;
};

TEST_F(ReceivedLineQueue, ReturnsNullAndLeavesTheTagAloneWhenEmpty) {
    EXPECT_EQ(nullptr, connection.PopMessage(&tag));

    EXPECT_EQ(99, tag);
}

TEST_F(ReceivedLineQueue, ReturnsATextAndItsTag) {
    Push("line\n", -5);

    EXPECT_STREQ("line\n", connection.PopMessage(&tag));

    EXPECT_EQ(-5, tag);
}

TEST_F(ReceivedLineQueue, ReturnsTheOldestTextFirst) {
    Push("one", 1);
    Push("two", 2);
    Push("three", 3);

    EXPECT_STREQ("one", connection.PopMessage(&tag));
    EXPECT_STREQ("two", connection.PopMessage(&tag));
    EXPECT_STREQ("three", connection.PopMessage(&tag));
    EXPECT_EQ(3, tag);
    EXPECT_EQ(nullptr, connection.PopMessage(&tag));
}

TEST_F(ReceivedLineQueue, KeepsACopyOfTheBytesFollowedByAZeroByte) {
    std::string text("a\0b?", 4);
    connection.PushMessage(text.data(), 3, 0);
    text = "xxxx";

    EXPECT_EQ(std::string("a\0b\0", 4), std::string(connection.PopMessage(&tag), 4));
}

TEST_F(ReceivedLineQueue, IgnoresTextOfLengthZeroOrLess) {
    connection.PushMessage("text", 0, 1);
    connection.PushMessage("text", -1, 1);
    connection.PushMessage(nullptr, INT_MIN, 1);

    EXPECT_EQ(nullptr, connection.PopMessage(&tag));
}

TEST_F(ReceivedLineQueue, LosesATextWhenThereIsNoMemoryForIt) {
    connection.PushMessage("text", INT_MAX, 1);
    Push("next");

    EXPECT_STREQ("next", connection.PopMessage(&tag));
}

class LineWithoutMemory : public testing::TestWithParam<int> {};

TEST_P(LineWithoutMemory, IsLost) {
    Connection connection;
    // Fills the first block of the queue, so that the next line needs another block as well.
    while (connection.messages.size() < 127) connection.PushMessage("line", 4, 0);
    bool happened = false;
    const CountsAround counts([&] {
        const FailingAllocations failing(FailingAllocations::Number{GetParam()});
        connection.PushMessage("lost", 4, 0);
        happened = failing.Happened();
    });

    EXPECT_TRUE(happened);
    EXPECT_EQ(127u, connection.messages.size());
    EXPECT_EQ(counts.before, counts.after);
}

INSTANTIATE_TEST_SUITE_P(OfItsAllocation, LineWithoutMemory, testing::Values(1, 2, 3));

TEST_F(ReceivedLineQueue, KeepsTheLastTextWhenThereIsNoOther) {
    Push("text");
    const char* const text = connection.PopMessage(&tag);

    EXPECT_EQ(nullptr, connection.PopMessage(&tag));

    EXPECT_STREQ("text", text);
    EXPECT_EQ(text, connection.lastText.get());
}

TEST_F(ReceivedLineQueue, FreesThePreviousTextWhenItReturnsTheNextOne) {
    if (!ProcessCounts::IncludeAllocations())
        GTEST_SKIP() << "the heap counts leave allocations out";
    Push("one");
    Push("two");
    (void)connection.PopMessage(&tag);
    (void)ProcessCounts::Now();
    const ProcessCounts before = ProcessCounts::Now();

    (void)connection.PopMessage(&tag);

    EXPECT_EQ(before.heapBlocks - 2, ProcessCounts::Now().heapBlocks);
}

TEST_F(ReceivedLineQueue, HoldsALineInOneBlockForItsTextAndOneForItsRecord) {
    if (!ProcessCounts::IncludeAllocations())
        GTEST_SKIP() << "the heap counts leave allocations out";
    (void)ProcessCounts::Now();
    const ProcessCounts before = ProcessCounts::Now();

    connection.PushMessage("line", 4, 0);

    EXPECT_EQ(before.heapBlocks + 2, ProcessCounts::Now().heapBlocks);
}

TEST_F(ReceivedLineQueue, HandsEveryLineFromOneThreadToAnother) {
    constexpr int count = 5000;
    std::thread pusher([this] {
        for (int i = 1; i <= count; ++i) connection.PushMessage("line", 4, i);
    });

    int expected = 1;
    while (expected <= count) {
        if (connection.PopMessage(&tag) == nullptr) continue;
        if (tag != expected) break;
        ++expected;
    }
    pusher.join();

    EXPECT_EQ(count + 1, expected);
}

TEST_F(ReceivedLineQueue, IsGuardedByItsLock) {
    bool free = true;
    connection.queueLock.lock();
    std::thread other([&] { free = connection.queueLock.try_lock(); });
    other.join();
    connection.queueLock.unlock();

    EXPECT_FALSE(free);
}

TEST(TelnetInterface, DoesNothingOnConnect) {
    Connection connection;
    const CountsAround counts([&] { connection.OnConnect(7); });

    EXPECT_EQ(counts.before, counts.after);
    EXPECT_TRUE(connection.messages.empty());
}

TEST(TelnetInterface, FreesItsTextsWhenDestroyed) {
    const CountsAround counts([&] {
        Connection connection;
        std::int32_t tag = 0;
        connection.PushMessage("given", 5, 0);
        connection.PushMessage("queued", 6, 0);
        connection.PushMessage("queued too", 10, 0);
        (void)connection.PopMessage(&tag);
    });

    EXPECT_EQ(counts.before, counts.after);
}

TEST(TelnetInterface, HoldsItsHoldLockForLife) {
    Connection connection;
    bool entered = true;

    std::thread other([&] { entered = connection.holdLock.try_lock(); });
    other.join();

    EXPECT_FALSE(entered);
}

TEST(TelnetInterface, TriesItsHoldLockAndLeavesItOnceWhenDestroyed) {
    auto connection = std::make_unique<Connection>();
    const void* const holdLock = &connection->holdLock;
    std::string calls;
    const FakeApi<"TryEnterCriticalSection", decltype(::TryEnterCriticalSection)> tries(
        [&](CRITICAL_SECTION* section) {
            if (section == holdLock) calls += "try ";
            return TRUE;
        });
    const FakeApi<"LeaveCriticalSection", decltype(::LeaveCriticalSection)> leaves(
        [&](CRITICAL_SECTION* section) {
            if (section == holdLock) calls += "leave ";
            leaves.Real(section);
        });

    connection.reset();

    EXPECT_EQ("try leave ", calls);
}

TEST(TelnetInterface, CanBeDestroyedOnAnotherThread) {
    const CountsAround counts([] {
        auto connection = std::make_unique<Connection>();
        std::thread([&] { connection.reset(); }).join();
    });

    EXPECT_EQ(counts.before, counts.after);
}

TEST(TelnetInterface, NeverFillsItsSpareQueue) {
    Connection connection;
    std::int32_t tag = 0;

    connection.PushMessage("line", 4, 1);
    (void)connection.PopMessage(&tag);

    EXPECT_TRUE(connection.spareQueue.empty());
}

TEST(TelnetInterface, HasItsVirtualFunctionsInTheirSlots) {
    EXPECT_EQ(0u, SlotOf(&TELNET::TelnetInterface::OnConnect));
    EXPECT_EQ(1u, SlotOf(&TELNET::TelnetInterface::SendFormat));
    EXPECT_EQ(2u, SlotOf(&TELNET::TelnetInterface::SendBlock));
}

TEST(TelnetInterface, HasItsFieldsInOrder) {
    const Connection connection;

    const std::vector<const void*> places{&connection.queueLock, &connection.messages,
                                          &connection.lastText,  &connection.spareLock,
                                          &connection.holdLock,  &connection.spareQueue};

    EXPECT_THAT(places, testing::WhenSorted(testing::ElementsAreArray(places)));
    EXPECT_EQ(sizeof(CRITICAL_SECTION), sizeof(connection.queueLock));
    EXPECT_EQ(sizeof(char*), sizeof(connection.lastText));
    EXPECT_EQ(sizeof(void*), sizeof(connection.messages.front()));
}

}  // namespace
