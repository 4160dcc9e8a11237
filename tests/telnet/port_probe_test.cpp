#include "telnet/port_probe.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "support/failing_allocations.h"
#include "support/process_counts.h"
#include "telnet/fake_sockets.h"
#include "telnet/loopback.h"
#include "telnet/telnet.h"

namespace {

using testing::IsEmpty;

TEST(TestServicePort, IsTrueWhereAListenerAccepts) {
    const LoopbackListener listener;

    EXPECT_TRUE(TestServicePort(listener.Port()));
}

TEST(TestServicePort, OpensAndClosesAConnectionWithoutSendingAByte) {
    const LoopbackListener listener;
    (void)TestServicePort(listener.Port());

    EXPECT_EQ("", ReceiveAll(listener.Accept()));
}

TEST(TestServicePort, IsFalseWhereNobodyListens) {
    EXPECT_FALSE(TestServicePort(ClosedPort()));
}

TEST(TestServicePort, IsFalseForPortZero) {
    EXPECT_FALSE(TestServicePort(0));
    EXPECT_FALSE(TestServicePort(65536));
}

TEST(TestServicePort, LooksOnlyAtTheLow16BitsOfThePort) {
    const LoopbackListener listener;

    EXPECT_TRUE(TestServicePort(65536 + listener.Port()));
    EXPECT_TRUE(TestServicePort(listener.Port() - 65536));
    EXPECT_TRUE(TestServicePort(0x7FFF0000 | listener.Port()));
}

TEST(TestServicePort, IsFalseForTheLow16BitsOfAClosedPort) {
    EXPECT_FALSE(TestServicePort(65536 + ClosedPort()));
}

TEST(TestServicePort, IsTrueWhereAListenerNeverAccepts) {
    const LoopbackListener listener;

    EXPECT_TRUE(TestServicePort(listener.Port()));
    EXPECT_TRUE(TestServicePort(listener.Port()));
}

// A service that greets every connection with a text, and then hangs up or waits for the other end
// to hang up.
class Service {
public:
    enum Manner { kHangsUp, kWaits };

    Service(std::string greeting, Manner manner)
        : thread_([this, greeting = std::move(greeting), manner] {
              try {
                  while (true) {
                      const UniqueSocket accepted = listener_.Accept();
                      SendText(accepted, greeting);
                      if (manner == kWaits) (void)ReceiveAll(accepted);
                  }
              } catch (const std::runtime_error&) {
                  // The listener was closed.
              }
          }) {}
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    ~Service() {
        listener_.Close();
        thread_.join();
    }

    [[nodiscard]] std::int32_t Port() const { return port_; }

private:
    LoopbackListener listener_;
    std::int32_t port_ = listener_.Port();
    std::thread thread_;
};

// Tests the port twenty times and counts how often the answer is true.
int TrueOfTwenty(std::int32_t port) {
    int count = 0;
    for (int i = 0; i < 20; ++i) count += TestServicePort(port) ? 1 : 0;
    return count;
}

TEST(TestServicePort, IsTrueForAServiceThatSendsTextAtOnce) {
    const Service service("220 welcome\r\n> ", Service::kWaits);

    EXPECT_EQ(20, TrueOfTwenty(service.Port()));
}

TEST(TestServicePort, IsTrueForAServiceThatSendsTextAndHangsUp) {
    const Service service("220 welcome\r\n", Service::kHangsUp);

    EXPECT_EQ(20, TrueOfTwenty(service.Port()));
}

TEST(TestServicePort, IsTrueForAServiceThatHangsUpAtOnce) {
    const Service service("", Service::kHangsUp);

    EXPECT_EQ(20, TrueOfTwenty(service.Port()));
}

TEST(TestServicePort, IsTrueForAServiceThatOpensWithATelnetCommand) {
    const Service service("\xFF\xFB\x01", Service::kWaits);

    EXPECT_EQ(20, TrueOfTwenty(service.Port()));
}

TEST(TestServicePort, IsTrueForAServiceThatSendsALot) {
    const Service service(std::string(100'000, 'x') + "\n", Service::kHangsUp);

    EXPECT_EQ(20, TrueOfTwenty(service.Port()));
}

TEST(TestServicePort, ReceivesATelnetCommandWithoutAnEndpointToAnswerIt) {
    const LoopbackListener listener;
    const ScriptedRecv recv({"\xFF\xFB\x01", "\xFF"});
    // Lets the receive thread end before the teardown begins.
    const FakeCreateThread create([&](auto... arguments) {
        const HANDLE thread = create.Real(arguments...);
        (void)::WaitForSingleObject(thread, 10'000);
        return thread;
    });

    EXPECT_TRUE(TestServicePort(listener.Port()));

    EXPECT_EQ(3u, recv.calls.size());
    EXPECT_EQ(nullptr, TELNET::g_currentTelnet);
}

TEST(TestServicePort, AnswersTwoThreadsAtTheSameTime) {
    const Service service("", Service::kWaits);
    const std::int32_t open = service.Port();
    const ClosedPort closed;
    int trueForOpen = 0;
    int trueForClosed = 0;

    std::thread other([&] {
        for (int i = 0; i < 20; ++i) trueForOpen += TrueOfTwenty(open);
    });
    for (int i = 0; i < 20; ++i) trueForClosed += TrueOfTwenty(closed);
    other.join();

    EXPECT_EQ(400, trueForOpen);
    EXPECT_EQ(0, trueForClosed);
}

TEST(TestServicePort, AnswersTwoThreadsThatTestTwoOpenPorts) {
    const Service text("hello\r\n", Service::kWaits);
    const Service command("\xFF\xFB\x01", Service::kHangsUp);
    int trueForText = 0;
    int trueForCommand = 0;

    std::thread other([&] {
        for (int i = 0; i < 10; ++i) trueForText += TrueOfTwenty(text.Port());
    });
    for (int i = 0; i < 10; ++i) trueForCommand += TrueOfTwenty(command.Port());
    other.join();

    EXPECT_EQ(200, trueForText);
    EXPECT_EQ(200, trueForCommand);
}

// --- Failing calls -------------------------------------------------------------------------------

TEST(TestServicePort, IsFalseWithoutASocketAndLeavesNothingBehind) {
    const LoopbackListener listener;
    const CountsAround counts([&] {
        const FakeSocket socket([](int, int, int) { return INVALID_SOCKET; });

        EXPECT_FALSE(TestServicePort(listener.Port()));
    });

    EXPECT_EQ(counts.before, counts.after);
}

TEST(TestServicePort, IsFalseWhenBothStartingWindowsSocketsAndCreatingTheSocketFail) {
    const LoopbackListener listener;
    const FakeStartup startup([](WORD, WSADATA*) { return WSASYSNOTREADY; });
    const FakeSocket socket([](int, int, int) { return INVALID_SOCKET; });

    EXPECT_FALSE(TestServicePort(listener.Port()));
}

TEST(TestServicePort, IsFalseWhenConnectFailsAndLeavesNothingBehind) {
    const LoopbackListener listener;
    const CountsAround counts([&] {
        const FakeConnect connect([](SOCKET, const sockaddr*, int) { return SOCKET_ERROR; });

        EXPECT_FALSE(TestServicePort(listener.Port()));
    });

    EXPECT_EQ(counts.before, counts.after);
}

TEST(TestServicePort, IsFalseForAnyConnectResultOtherThanZero) {
    const LoopbackListener listener;
    const FakeConnect connect([](SOCKET, const sockaddr*, int) { return 1; });

    EXPECT_FALSE(TestServicePort(listener.Port()));
}

TEST(TestServicePort, IsTrueWithoutAReceiveThreadAndLeavesNothingBehind) {
    const LoopbackListener listener;
    const CountsAround counts([&] {
        const FakeCreateThread create([](auto...) -> HANDLE { return nullptr; });

        EXPECT_TRUE(TestServicePort(listener.Port()));
        EXPECT_EQ("", ReceiveAll(listener.Accept()));
    });

    EXPECT_EQ(counts.before, counts.after);
}

TEST(TestServicePort, IsTrueWhenReceivingFails) {
    const LoopbackListener listener;
    const CountsAround counts([&] {
        const FakeRecv recv([](SOCKET, char*, int, int) { return SOCKET_ERROR; });

        EXPECT_TRUE(TestServicePort(listener.Port()));
        (void)listener.Accept();
    });

    EXPECT_EQ(counts.before, counts.after);
}

TEST(TestServicePort, SendsNothing) {
    const LoopbackListener listener;
    RecordedSends sends;

    (void)TestServicePort(listener.Port());

    EXPECT_THAT(sends.calls, IsEmpty());
}

TEST(TestServicePort, StartsWindowsSocketsOnceForEachCall) {
    const ClosedPort port;
    int starts = 0;
    const FakeStartup startup([&](WORD version, WSADATA* data) {
        ++starts;
        return startup.Real(version, data);
    });

    (void)TestServicePort(port);
    (void)TestServicePort(port);

    EXPECT_EQ(2, starts);
}

TEST(TestServicePort, IsFalseWithoutMemoryForItsEndpoint) {
    const LoopbackListener listener;
    const FailingAllocations failing(FailingAllocations::Number{1});

    EXPECT_FALSE(TestServicePort(listener.Port()));
}

TEST(TestServicePort, ThrowsNothingAndLeavesNothingBehindWhicheverAllocationFails) {
    const LoopbackListener listener;
    int allocations = 0;
    const CountsAround counts([&] {
        allocations = 0;
        for (bool happened = true; happened; ++allocations) {
            const FailingAllocations failing(FailingAllocations::Number{allocations + 1});
            (void)TestServicePort(listener.Port());
            happened = failing.Happened();
        }
    });

    EXPECT_GT(allocations, 6);
    EXPECT_EQ(counts.before, counts.after);
}

}  // namespace
