#include <winsock.h>

#include <gtest/gtest.h>

#include "support/captured_output.h"
#include "support/loaded_library.h"
#include "telnet/loopback.h"

namespace {

class AmdPortTest : public testing::Test {
protected:
    LoadedLibrary library;
    CapturedDebugOutput debug{library.Module()};
};

TEST_F(AmdPortTest, IsTrueForAPortThatAccepts) {
    const LoopbackListener listener;

    EXPECT_TRUE(library.PortTest(listener.Port()));
}

TEST_F(AmdPortTest, IsFalseForAPortThatNobodyListensOn) {
    EXPECT_FALSE(library.PortTest(ClosedPort()));
}

TEST_F(AmdPortTest, IsFalseForPort0) {
    EXPECT_FALSE(library.PortTest(0));
}

TEST_F(AmdPortTest, LooksOnlyAtTheLow16BitsOfThePort) {
    const LoopbackListener listener;

    EXPECT_TRUE(library.PortTest(65536 + listener.Port()));
    EXPECT_TRUE(library.PortTest(listener.Port() - 65536));
}

TEST_F(AmdPortTest, SendsNothingAndClosesTheConnection) {
    const LoopbackListener listener;

    library.PortTest(listener.Port());

    const UniqueSocket peer = listener.Accept();
    char byte = 0;
    EXPECT_EQ(0, ::recv(peer.Get(), &byte, 1, 0));
}

TEST_F(AmdPortTest, WritesNoMessages) {
    CapturedStandardOutput console;
    const LoopbackListener listener;

    library.PortTest(listener.Port());
    library.PortTest(0);

    EXPECT_TRUE(debug.messages.empty());
    EXPECT_EQ("", console.Text());
}

}  // namespace
