#include "telnet/port_probe.h"

#include <gmock/gmock.h>

#include "support/process_counts.h"
#include "telnet/fake_sockets.h"
#include "telnet/loopback.h"

namespace {

class ThousandPortTests : public testing::Test {
protected:
    static void TestThousandTimes(std::int32_t port) {
        for (int i = 0; i < 1000; ++i) (void)TestServicePort(port);
    }
};

TEST_F(ThousandPortTests, OfAnOpenPortLeaveNothingBehind) {
    const LoopbackListener listener;
    const CountsAround counts([&] {
        for (int i = 0; i < 1000; ++i) {
            (void)TestServicePort(listener.Port());
            (void)listener.Accept();
        }
    });

    EXPECT_EQ(counts.before, counts.after);
}

TEST_F(ThousandPortTests, OfAServiceThatHangsUpLeaveNothingBehind) {
    const LoopbackListener listener;
    const CountsAround counts([&] {
        const FakeConnect connect([&](SOCKET socket, const sockaddr* address, int size) {
            const int result = connect.Real(socket, address, size);
            SendText(listener.Accept(), "go away\r\n");
            return result;
        });

        TestThousandTimes(listener.Port());
    });

    EXPECT_EQ(counts.before, counts.after);
}

TEST_F(ThousandPortTests, OfAClosedPortLeaveNothingBehind) {
    const ClosedPort port;
    const CountsAround counts([&] { TestThousandTimes(port); });

    EXPECT_EQ(counts.before, counts.after);
}

}  // namespace
