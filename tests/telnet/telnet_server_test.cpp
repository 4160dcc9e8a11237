#include "telnet/telnet_server.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/process_counts.h"
#include "telnet/fake_sockets.h"
#include "telnet/loopback.h"
#include "telnet/virtual_slots.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class Server : public TELNET::TelnetServer {
public:
    using TelnetServer::clients;
    using TelnetServer::listenLock;
    using TelnetServer::listenSocket;
    using TelnetServer::spareQueue;
    using TelnetServer::thread;
};

// A connected client and the record that a server has of it.
struct ConnectedClient {
    SocketPair sockets;
    TELNET::ClientRecord record{sockets.here.Get()};

    // Ends the connection and returns what reached this client.
    std::string Wire() {
        sockets.here.Reset();
        return ReceiveAll(sockets.there);
    }
};

class TelnetServerSends : public testing::Test {
protected:
    // Added out of order, so that the order of the sends shows.
    TelnetServerSends() {
        server.clients[30] = &third.record;
        server.clients[10] = &first.record;
        server.clients[20] = &second.record;
    }

    [[nodiscard]] std::vector<SOCKET> AllSockets() const {
        return {first.record.socket, second.record.socket, third.record.socket};
    }

    ConnectedClient first;
    ConnectedClient second;
    ConnectedClient third;
    Server server;
};

TEST_F(TelnetServerSends, TextOnlyToTheClientWithThatNumber) {
    EXPECT_TRUE(server.SendFormat(20, "%s %d\n", "value", 42));

    EXPECT_EQ("", first.Wire());
    EXPECT_EQ("value 42\n", second.Wire());
    EXPECT_EQ("", third.Wire());
}

TEST_F(TelnetServerSends, TextToEveryClient) {
    EXPECT_TRUE(server.SendFormat(0, "%s", "all\n"));

    EXPECT_EQ("all\n", first.Wire());
    EXPECT_EQ("all\n", second.Wire());
    EXPECT_EQ("all\n", third.Wire());
}

TEST_F(TelnetServerSends, TextToEveryClientInTheOrderOfTheirNumbers) {
    RecordedSends sends;

    (void)server.SendFormat(0, "all");

    EXPECT_EQ(AllSockets(), sends.Sockets());
}

TEST_F(TelnetServerSends, NoTextToAnUnknownClient) {
    RecordedSends sends;

    EXPECT_FALSE(server.SendFormat(15, "text"));

    EXPECT_THAT(sends.calls, IsEmpty());
}

TEST_F(TelnetServerSends, TextOfUpTo8191CharactersWholeAndInOneCall) {
    RecordedSends sends;

    (void)server.SendFormat(10, "%s", std::string(8191, 'x').c_str());

    EXPECT_THAT(sends.Lengths(), ElementsAre(8191));
    EXPECT_EQ(0, sends.calls.at(0).flags);
}

TEST_F(TelnetServerSends, LongerTextCutTo8191Characters) {
    RecordedSends sends;

    (void)server.SendFormat(0, "%s", std::string(9000, 'x').c_str());

    EXPECT_THAT(sends.Lengths(), ElementsAre(8191, 8191, 8191));
}

TEST_F(TelnetServerSends, ABlockOnlyToTheClientWithThatNumber) {
    const TELNET::NxBlock block{30, "data", "payload", 7};

    EXPECT_TRUE(server.SendBlock(&block));

    EXPECT_EQ("", first.Wire());
    EXPECT_EQ("", second.Wire());
    EXPECT_EQ("\r\n<NxBlock=data>payload</NxBlock>\r\n", third.Wire());
}

TEST_F(TelnetServerSends, ABlockToOneClientInPieces) {
    RecordedSends sends;
    const std::string payload(2500, 'x');
    const TELNET::NxBlock block{20, "data", payload.data(), 2500};

    EXPECT_TRUE(server.SendBlock(&block));

    EXPECT_THAT(sends.Lengths(), ElementsAre(16, 1024, 1024, 452, 12));
    EXPECT_THAT(sends.Sockets(), Each(second.record.socket));
}

TEST_F(TelnetServerSends, ABlockToEveryClientWholeAndInTheOrderOfTheirNumbers) {
    RecordedSends sends;
    const std::string payload(2500, 'x');
    const TELNET::NxBlock block{0, "data", payload.data(), 2500};

    EXPECT_TRUE(server.SendBlock(&block));

    EXPECT_THAT(sends.Lengths(), ElementsAre(16, 2500, 12, 16, 2500, 12, 16, 2500, 12));
    const SOCKET a = first.record.socket;
    const SOCKET b = second.record.socket;
    const SOCKET c = third.record.socket;
    EXPECT_THAT(sends.Sockets(), ElementsAre(a, a, a, b, b, b, c, c, c));
}

TEST_F(TelnetServerSends, ABlockToEveryClientOverRealSockets) {
    const std::string name(300, 'n');
    const TELNET::NxBlock block{0, name.c_str(), "pay\0load", 8};
    const std::string expected =
        "\r\n<NxBlock=" + name + ">" + std::string("pay\0load", 8) + "</NxBlock>\r\n";

    EXPECT_TRUE(server.SendBlock(&block));

    EXPECT_EQ(expected, first.Wire());
    EXPECT_EQ(expected, second.Wire());
    EXPECT_EQ(expected, third.Wire());
}

TEST_F(TelnetServerSends, NoBlockToAnUnknownClient) {
    RecordedSends sends;
    const TELNET::NxBlock block{15, "data", "payload", 7};

    EXPECT_FALSE(server.SendBlock(&block));

    EXPECT_THAT(sends.calls, IsEmpty());
}

TEST_F(TelnetServerSends, ToTheOthersEvenWhenOneClientIsGone) {
    first.sockets.here.Reset();

    EXPECT_TRUE(server.SendFormat(0, "all\n"));

    EXPECT_EQ("all\n", second.Wire());
    EXPECT_EQ("all\n", third.Wire());
}

// Notes at each send to the receiver whether its lock and another client's lock are free.
struct LockWatch {
    explicit LockWatch(TELNET::ClientRecord& receiver, TELNET::ClientRecord& other)
        : receiver_(receiver), other_(other) {}

    std::vector<bool> receiverWasFree;
    std::vector<bool> otherWasFree;

private:
    static bool IsFree(TELNET::ClientRecord& record) {
        bool entered = false;
        std::thread([&] {
            entered = record.lock.try_lock();
            if (entered) record.lock.unlock();
        }).join();
        return entered;
    }

    TELNET::ClientRecord& receiver_;
    TELNET::ClientRecord& other_;
    FakeSend send_{[this](SOCKET socket, const char*, int length, int) {
        if (socket != receiver_.socket) return length;
        receiverWasFree.push_back(IsFree(receiver_));
        otherWasFree.push_back(IsFree(other_));
        return length;
    }};
};

TEST_F(TelnetServerSends, TextUnderTheClientsLock) {
    LockWatch watch(first.record, second.record);

    (void)server.SendFormat(10, "text");

    EXPECT_THAT(watch.receiverWasFree, ElementsAre(false));
    EXPECT_THAT(watch.otherWasFree, ElementsAre(true));
}

TEST_F(TelnetServerSends, TextToEveryClientUnderTheLockOfEachInTurn) {
    LockWatch watch(second.record, third.record);

    (void)server.SendFormat(0, "text");

    EXPECT_THAT(watch.receiverWasFree, ElementsAre(false));
    EXPECT_THAT(watch.otherWasFree, ElementsAre(true));
}

TEST_F(TelnetServerSends, ABlockUnderTheClientsLockFromHeaderToTrailer) {
    LockWatch watch(first.record, second.record);
    const std::string payload(1500, 'x');
    const TELNET::NxBlock block{10, "data", payload.data(), 1500};

    (void)server.SendBlock(&block);

    EXPECT_THAT(watch.receiverWasFree, ElementsAre(false, false, false, false));
}

TEST_F(TelnetServerSends, ABlockToEveryClientUnderTheLockOfEachInTurn) {
    LockWatch watch(second.record, third.record);
    const TELNET::NxBlock block{0, "data", "payload", 7};

    (void)server.SendBlock(&block);

    EXPECT_THAT(watch.receiverWasFree, ElementsAre(false, false, false));
    EXPECT_THAT(watch.otherWasFree, ElementsAre(true, true, true));
}

TEST_F(TelnetServerSends, BlocksOfSeveralThreadsOneAfterTheOther) {
    constexpr int each = 50;
    const std::string payloads[] = {std::string(3000, 'a'), std::string(3000, 'b')};
    std::string wire;
    std::thread reader(
        [&] { wire = ReceiveBytes(first.sockets.there, 2 * each * (12 + 1 + 3000 + 12)); });

    const auto sendAll = [&](const std::string& payload) {
        const TELNET::NxBlock block{10, "x", payload.data(), 3000};
        for (int i = 0; i < each; ++i) (void)server.SendBlock(&block);
    };
    std::thread other([&] { sendAll(payloads[0]); });
    sendAll(payloads[1]);
    other.join();
    reader.join();

    int whole = 0;
    for (const std::string& payload : payloads) {
        const std::string framed = "\r\n<NxBlock=x>" + payload + "</NxBlock>\r\n";
        for (auto at = wire.find(framed); at != std::string::npos; at = wire.find(framed, at + 1))
            ++whole;
    }
    EXPECT_EQ(2 * each, whole);
}

TEST(TelnetServer, ReturnsFalseWhenThereIsNoClient) {
    Server server;
    const TELNET::NxBlock block{0, "data", "payload", 7};

    EXPECT_FALSE(server.SendFormat(0, "text"));
    EXPECT_FALSE(server.SendBlock(&block));
}

TEST(TelnetServer, StartsIdle) {
    const Server server;

    EXPECT_EQ(INVALID_SOCKET, server.listenSocket);
    EXPECT_EQ(nullptr, server.thread.Get());
    EXPECT_TRUE(server.clients.empty());
}

// A server that accepts on a thread of its own until its socket is closed.
struct Accepting {
    Accepting() {
        UniqueSocket listening = MakeSocket();
        const sockaddr_in address = Loopback(0);
        Require(::bind(listening.Get(), reinterpret_cast<const sockaddr*>(&address),
                       sizeof(address)) == 0,
                "bind");
        Require(::listen(listening.Get(), 1) == 0, "listen");
        socket = listening.Get();
        server.listenSocket = listening.Detach();
        server.thread.Reset(::CreateThread(nullptr, 0, &Run, this, 0, nullptr));
    }

    static DWORD WINAPI Run(void* self) {
        auto& accepting = *static_cast<Accepting*>(self);
        while (::accept(accepting.socket, nullptr, nullptr) != INVALID_SOCKET) {
        }
        ::Sleep(50);
        accepting.ended = true;
        return 0;
    }

    SOCKET socket;
    bool ended = false;
    Server server;
};

TEST(TelnetServer, ClosesItsListeningSocketOnceAndWaitsForItsThread) {
    CountedCloses closes;
    Accepting accepting;

    accepting.server.Close();
    accepting.server.Close();

    EXPECT_TRUE(accepting.ended);
    EXPECT_EQ(1, closes.Of(accepting.socket));
    EXPECT_EQ(INVALID_SOCKET, accepting.server.listenSocket);
    EXPECT_EQ(nullptr, accepting.server.thread.Get());
}

TEST(TelnetServer, ClosesWhenDestroyed) {
    const CountsAround counts([] { const Accepting accepting; });

    EXPECT_EQ(counts.before, counts.after);
}

TEST(TelnetServer, LeavesItsClientsToTheirOwner) {
    ConnectedClient client;
    {
        Server server;
        server.clients[1] = &client.record;
    }

    client.record.lock.lock();
    client.record.lock.unlock();
    SendText(client.sockets.here, "alive");
    EXPECT_EQ("alive", client.Wire());
}

TEST(TelnetServer, HasItsVirtualFunctionsInTheirSlots) {
    EXPECT_EQ(1u, SlotOf(&TELNET::TelnetServer::SendFormat));
    EXPECT_EQ(2u, SlotOf(&TELNET::TelnetServer::SendBlock));
}

TEST(TelnetServer, HasItsFieldsInOrderAfterTheBase) {
    const Server server;

    const std::vector<const void*> places{&server.spareQueue, &server.listenLock,
                                          &server.listenSocket, &server.thread, &server.clients};

    EXPECT_THAT(places, testing::WhenSorted(testing::ElementsAreArray(places)));
}

TEST(ClientRecord, StartsWithoutASocketUnlessGivenOne) {
    EXPECT_EQ(INVALID_SOCKET, TELNET::ClientRecord().socket);
    EXPECT_EQ(7u, TELNET::ClientRecord(7).socket);
}

}  // namespace
