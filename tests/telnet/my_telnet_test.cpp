#include "telnet/my_telnet.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/process_counts.h"
#include "telnet/fake_sockets.h"
#include "telnet/loopback.h"
#include "telnet/virtual_slots.h"

namespace {

using testing::ElementsAre;

class Endpoint : public TELNET::MyTelnet {
public:
    explicit Endpoint(std::int32_t port, bool serverMode = false, std::int32_t reserved = 0)
        : MyTelnet(serverMode, port, reserved) {}

    using MyTelnet::active;
    using MyTelnet::client;
    using MyTelnet::connected;
    using MyTelnet::isServer;
    using MyTelnet::line;
    using MyTelnet::ready;
    using MyTelnet::server;
    using MyTelnet::tokenizer;
};

// Open protected fields of a TelnetClient and a TelnetServer to the tests.
struct Fields : TELNET::TelnetClient {
    static HANDLE Thread(TelnetClient& client) { return (client.*&Fields::thread).Get(); }
};
struct ServerFields : TELNET::TelnetServer {
    static void Listen(TelnetServer& server, SOCKET socket) {
        server.*& ServerFields::listenSocket = socket;
    }
};

std::vector<std::string> Parse(Endpoint& endpoint, const std::string& text) {
    std::int32_t count = -1;
    char** const tokens = endpoint.ParseLine(text.c_str(), &count);
    return {tokens, tokens + count};
}

class ConnectedEndpoint : public testing::Test {
protected:
    // Ends the connection from the peer's side and waits until all that the peer sent is queued.
    void PeerEnds() {
        peer.Reset();
        (void)::WaitForSingleObject(Fields::Thread(*endpoint.client), 10'000);
    }

    // Ends the connection and returns what reached the peer.
    std::string Wire() {
        endpoint.client->Close();
        return ReceiveAll(peer);
    }

    LoopbackListener listener;
    Endpoint endpoint{listener.Port()};
    UniqueSocket peer = listener.Accept();
    std::int32_t tag = 99;
};

TEST_F(ConnectedEndpoint, IsAReadyConnectedClient) {
    EXPECT_TRUE(endpoint.IsReady());
    EXPECT_TRUE(endpoint.IsConnected());
    EXPECT_FALSE(endpoint.IsServer());
    EXPECT_NE(nullptr, endpoint.client);
    EXPECT_EQ(endpoint.client.get(), endpoint.active);
    EXPECT_EQ(nullptr, endpoint.server);
}

TEST_F(ConnectedEndpoint, SendsFormattedText) {
    EXPECT_TRUE(endpoint.Send(0, "%s=%d\n", "value", 42));

    EXPECT_EQ("value=42\n", Wire());
}

TEST_F(ConnectedEndpoint, FormatsTextOnlyOnce) {
    EXPECT_TRUE(endpoint.Send(0, "%s", "100%d %n %s"));

    EXPECT_EQ("100%d %n %s", Wire());
}

TEST_F(ConnectedEndpoint, SendsTextOfUpTo2047CharactersWhole) {
    EXPECT_TRUE(endpoint.Send(0, "%s", std::string(2047, 'x').c_str()));

    EXPECT_EQ(std::string(2047, 'x'), Wire());
}

TEST_F(ConnectedEndpoint, CutsLongerTextTo2047Characters) {
    EXPECT_TRUE(endpoint.Send(0, "%s", (std::string(2047, 'x') + "yz").c_str()));

    EXPECT_EQ(std::string(2047, 'x'), Wire());
}

TEST_F(ConnectedEndpoint, ReturnsTrueEvenWhenSendingFails) {
    PeerEnds();

    EXPECT_TRUE(endpoint.Send(0, "text"));
}

TEST_F(ConnectedEndpoint, ReceivesTheLinesOfItsPeer) {
    SendText(peer, "hello\r\n");
    PeerEnds();

    EXPECT_STREQ("hello\r\n", endpoint.Receive(&tag));
    EXPECT_EQ(0, tag);
    EXPECT_STREQ("\n", endpoint.Receive(&tag));
    EXPECT_EQ(nullptr, endpoint.Receive(&tag));
}

TEST_F(ConnectedEndpoint, ReturnsTheTagOfALine) {
    endpoint.client->PushMessage("text", 4, 7);

    (void)endpoint.Receive(&tag);

    EXPECT_EQ(7, tag);
}

TEST_F(ConnectedEndpoint, SetsTheTagToZeroWhenThereIsNoLine) {
    EXPECT_EQ(nullptr, endpoint.Receive(&tag));

    EXPECT_EQ(0, tag);
}

TEST_F(ConnectedEndpoint, StaysReadyAndConnectedAfterThePeerClosed) {
    PeerEnds();

    EXPECT_TRUE(endpoint.IsReady());
    EXPECT_TRUE(endpoint.IsConnected());
}

TEST_F(ConnectedEndpoint, AnswersTelnetOptionsOverItsOwnConnectionWhenItIsTheCurrentOne) {
    const LoopbackListener other;
    const Endpoint asked{other.Port()};
    TELNET::g_currentTelnet = &endpoint;
    SendText(other.Accept(), "\xFF\xFB\x01");
    (void)::WaitForSingleObject(Fields::Thread(*asked.client), 10'000);
    TELNET::g_currentTelnet = nullptr;

    EXPECT_EQ("\xFF\xFB\x18\xFF\xFD\x03\xFF\xFB\x03\xFF\xFD\x01\xFF\xFB\x1F", Wire());
}

TEST(MyTelnet, IsAClientWhateverItsModeFlagAndThirdArgumentSay) {
    const LoopbackListener listener;
    Endpoint endpoint{listener.Port(), true, 4711};

    EXPECT_FALSE(endpoint.IsServer());
    EXPECT_TRUE(endpoint.IsConnected());
    EXPECT_EQ(nullptr, endpoint.server);
}

TEST(MyTelnet, UsesOnlyTheLow16BitsOfItsPort) {
    const LoopbackListener listener;

    EXPECT_TRUE(Endpoint(65536 + listener.Port()).IsReady());
    EXPECT_TRUE(Endpoint(listener.Port() - 65536).IsReady());
}

class UnconnectedEndpoint : public testing::Test {
protected:
    Endpoint endpoint{ClosedPort()};
    std::int32_t tag = 99;
};

TEST_F(UnconnectedEndpoint, IsNeitherReadyNorConnectedAndKeepsNoClient) {
    EXPECT_FALSE(endpoint.IsReady());
    EXPECT_FALSE(endpoint.IsConnected());
    EXPECT_EQ(nullptr, endpoint.client);
    EXPECT_EQ(nullptr, endpoint.active);
}

TEST_F(UnconnectedEndpoint, SendsNothing) {
    EXPECT_FALSE(endpoint.Send(0, "text"));
}

TEST_F(UnconnectedEndpoint, ReceivesNothingAndSetsTheTagToZero) {
    EXPECT_EQ(nullptr, endpoint.Receive(&tag));

    EXPECT_EQ(0, tag);
}

TEST_F(UnconnectedEndpoint, ParsesALine) {
    EXPECT_THAT(Parse(endpoint, "set a=(1, \"x y\") # comment"),
                ElementsAre("set", "a", "=", "(", "1", ",", "x y", ")"));
}

TEST_F(UnconnectedEndpoint, ReturnsNullForALineWithoutTokens) {
    std::int32_t count = -1;

    EXPECT_EQ(nullptr, endpoint.ParseLine("# nothing", &count));

    EXPECT_EQ(0, count);
}

TEST_F(UnconnectedEndpoint, ParsesACopyOfTheLine) {
    const std::string text = "a b";

    (void)Parse(endpoint, text);

    EXPECT_EQ("a b", text);
    EXPECT_EQ(endpoint.line.data(), TELNET::g_tokens[0]);
}

TEST_F(UnconnectedEndpoint, ParsesTheFirst2047CharactersOfALine) {
    EXPECT_THAT(Parse(endpoint, std::string(2047, 'x') + "yz"),
                ElementsAre(std::string(2047, 'x')));
}

TEST_F(UnconnectedEndpoint, ClearsTheRestOfThePreviousLine) {
    (void)Parse(endpoint, std::string(2047, 'x'));

    (void)Parse(endpoint, "a");

    EXPECT_EQ('a', endpoint.line.front());
    EXPECT_EQ(2047, std::count(endpoint.line.begin(), endpoint.line.end(), '\0'));
}

TEST(MyTelnet, ReleasesEverythingThroughItsAbstractBase) {
    const LoopbackListener listener;
    const CountsAround counts([&] {
        const std::unique_ptr<TELNET::Telnet> endpoint =
            std::make_unique<TELNET::MyTelnet>(false, listener.Port(), 0);
        listener.Accept().Reset();
    });

    EXPECT_EQ(counts.before, counts.after);
}

TEST(MyTelnet, ReportsAServerWhenADerivedClassMakesItOne) {
    Endpoint endpoint{ClosedPort()};
    endpoint.isServer = true;

    EXPECT_TRUE(endpoint.IsServer());
}

TEST(MyTelnet, ReleasesItsServer) {
    const ClosedPort port;
    CountedCloses closes;
    const SOCKET listening = MakeSocket().Detach();
    {
        Endpoint endpoint{port};
        endpoint.isServer = true;
        endpoint.server.reset(new TELNET::TelnetServer{});
        ServerFields::Listen(*endpoint.server, listening);
    }

    EXPECT_EQ(1, closes.Of(listening));
}

TEST(MyTelnet, HasItsVirtualFunctionsInTheirSlots) {
    EXPECT_EQ(0u, SlotOf(&TELNET::Telnet::IsServer));
    EXPECT_EQ(1u, SlotOf(&TELNET::Telnet::IsConnected));
    EXPECT_EQ(2u, SlotOf(&TELNET::Telnet::Send));
    EXPECT_EQ(3u, SlotOf(&TELNET::Telnet::Receive));
    EXPECT_EQ(4u, SlotOf(&TELNET::Telnet::ParseLine));
}

TEST(MyTelnet, HasItsFieldsInOrder) {
    const Endpoint endpoint{ClosedPort()};

    const std::vector<const void*> places{&endpoint.isServer, &endpoint.connected, &endpoint.active,
                                          &endpoint.client,   &endpoint.server,    &endpoint.ready,
                                          &endpoint.line,     &endpoint.tokenizer};

    EXPECT_THAT(places, testing::WhenSorted(testing::ElementsAreArray(places)));
    EXPECT_EQ(sizeof(void*), sizeof(endpoint.client));
    EXPECT_EQ(2048u, sizeof(endpoint.line));
    EXPECT_EQ(sizeof(void*), sizeof(TELNET::Telnet));
}

}  // namespace
