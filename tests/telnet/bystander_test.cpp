#include "telnet/bystander.h"

#include "telnet/port_probe.h"
#include "telnet/telnet_client.h"

#include <gmock/gmock.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

// Whatever the library does, other connections of the process neither lose nor gain a byte, and
// stay open.

namespace {

class Client final : public TELNET::TelnetClient {
public:
    bool ConnectTo(Peer peer) { return Connect(nullptr, static_cast<std::uint16_t>(peer)); }

    // Whether the receive thread ends within ten seconds.
    [[nodiscard]] bool ThreadEnds() const {
        return ::WaitForSingleObject(thread.Get(), 10'000) == WAIT_OBJECT_0;
    }
};

bool TestPort(Peer peer) {
    return TestServicePort(static_cast<std::int32_t>(peer));
}

void SendABlock(Client& client) {
    const std::string payload(20'000, 'x');
    const TELNET::NxBlock block{0, "data", payload.data(), 20'000};
    EXPECT_TRUE(client.SendBlock(&block));
}

void SendEverything(Client& client) {
    SendABlock(client);
    EXPECT_TRUE(client.SendFormat(0, "%s", "a text\r\n"));
    EXPECT_TRUE(client.SendRaw("bytes", 5));
}

// --- One after the other -------------------------------------------------------------------------

// A client whose peer has hung up. Its receive thread has closed the socket and ended.
class BystanderOfAClient : public testing::Test {
protected:
    BystanderOfAClient() {
        EXPECT_TRUE(client->ConnectTo(Peer::kWaits));
        numbers.HangUp();
        EXPECT_TRUE(client->ThreadEnds());
    }

    void ExpectNoDamage() {
        client.reset();
        EXPECT_EQ("", numbers.Damage());
        EXPECT_EQ(0, numbers.LateCalls());
    }

    BorrowedNumbers numbers{2};
    std::optional<Client> client{std::in_place};
};

TEST_F(BystanderOfAClient, GainsNoText) {
    EXPECT_TRUE(client->SendFormat(0, "%s", "text"));

    ExpectNoDamage();
}

TEST_F(BystanderOfAClient, GainsNoRawBytes) {
    EXPECT_TRUE(client->SendRaw("text", 4));

    ExpectNoDamage();
}

TEST_F(BystanderOfAClient, GainsNoBlock) {
    SendABlock(*client);

    ExpectNoDamage();
}

TEST_F(BystanderOfAClient, StaysOpenWhenTheClientCloses) {
    client->Close();

    ExpectNoDamage();
}

TEST_F(BystanderOfAClient, StaysOpenWhenTheClientConnectsAgain) {
    EXPECT_TRUE(client->ConnectTo(Peer::kGreets));

    ExpectNoDamage();
}

TEST_F(BystanderOfAClient, StaysOpenWhenTheClientFailsToConnectAgain) {
    EXPECT_FALSE(client->ConnectTo(Peer::kRefuses));

    ExpectNoDamage();
}

class BystanderOfAPortTest : public testing::Test {
protected:
    void ExpectNoDamage() {
        EXPECT_EQ("", numbers.Damage());
        EXPECT_EQ(0, numbers.LateCalls());
    }

    BorrowedNumbers numbers{1};
};

TEST_F(BystanderOfAPortTest, IsIntactWhenTheServiceHangsUp) {
    const FakeCreateThread create([&](auto... arguments) {
        const HANDLE thread = create.Real(arguments...);
        (void)::WaitForSingleObject(thread, 10'000);
        return thread;
    });

    EXPECT_TRUE(TestPort(Peer::kHangsUp));

    ExpectNoDamage();
}

TEST_F(BystanderOfAPortTest, IsIntactWhenTheServiceWaits) {
    const FakeCreateThread create([&](auto... arguments) {
        const HANDLE thread = create.Real(arguments...);
        numbers.WaitUntilTheLibraryReceives();
        return thread;
    });

    EXPECT_TRUE(TestPort(Peer::kWaits));

    ExpectNoDamage();
}

TEST_F(BystanderOfAPortTest, IsIntactWithoutAReceiveThread) {
    const FakeCreateThread create([](auto...) -> HANDLE { return nullptr; });

    EXPECT_TRUE(TestPort(Peer::kWaits));

    ExpectNoDamage();
}

TEST_F(BystanderOfAPortTest, IsIntactWhenNobodyListens) {
    EXPECT_FALSE(TestPort(Peer::kRefuses));

    ExpectNoDamage();
}

// The thread has read the number of the socket. Before it calls recv, the test closes the socket.
// This is the one case in which a bystander may lose bytes: up to 8,192, once.
TEST(PortTest, ReceivesAtMostOnceOverASocketThatItHasJustClosed) {
    const LoopbackListener listener;
    CountedCloses closes;
    std::atomic<int> receives = 0;
    std::atomic<SOCKET> number = INVALID_SOCKET;
    const FakeRecv recv([&](SOCKET socket, char* buffer, int, int) {
        number = socket;
        while (closes.Of(socket) == 0) std::this_thread::yield();
        ++receives;
        *buffer = 'x';
        return 1;
    });
    const FakeCreateThread create([&](auto... arguments) {
        const HANDLE thread = create.Real(arguments...);
        while (number == INVALID_SOCKET) std::this_thread::yield();
        return thread;
    });

    EXPECT_TRUE(TestServicePort(listener.Port()));

    EXPECT_EQ(1, receives);
    EXPECT_EQ(1, closes.Of(number));
}

// --- On several threads --------------------------------------------------------------------------

// Makes calls fail from time to time, or do only a part of their work.
class Faults {
public:
    void Begin() { active_ = true; }
    void End() { active_ = false; }

private:
    // True for every `n`th call of the library.
    bool IsDue(std::atomic<unsigned>& calls, unsigned n) const {
        return active_ && !AsBystander::Calls() && ++calls % n == 0;
    }

    std::atomic<bool> active_ = false;
    std::atomic<unsigned> sockets_ = 0;
    std::atomic<unsigned> connects_ = 0;
    std::atomic<unsigned> threads_ = 0;
    std::atomic<unsigned> receives_ = 0;
    std::atomic<unsigned> shortReceives_ = 0;
    std::atomic<unsigned> sends_ = 0;
    std::atomic<unsigned> shortSends_ = 0;
    FakeSocket socket_{[this](int family, int type, int protocol) {
        return IsDue(sockets_, 11) ? INVALID_SOCKET : socket_.Real(family, type, protocol);
    }};
    FakeConnect connect_{[this](SOCKET socket, const sockaddr* address, int size) {
        return IsDue(connects_, 7) ? SOCKET_ERROR : connect_.Real(socket, address, size);
    }};
    FakeCreateThread thread_{[this](auto... arguments) {
        return IsDue(threads_, 5) ? nullptr : thread_.Real(arguments...);
    }};
    FakeRecv receive_{[this](SOCKET socket, char* buffer, int length, int flags) {
        if (IsDue(receives_, 6)) return SOCKET_ERROR;
        return receive_.Real(socket, buffer, IsDue(shortReceives_, 4) ? 1 : length, flags);
    }};
    FakeSend send_{[this](SOCKET socket, const char* data, int length, int flags) {
        if (IsDue(sends_, 5)) return SOCKET_ERROR;
        return send_.Real(socket, data, IsDue(shortSends_, 3) ? (length + 1) / 2 : length, flags);
    }};
};

// Stops threads of the library in the fifth call of a block.
class Pause {
public:
    // The next block of this thread is to stop.
    static void Expect() { callsLeft_ = 5; }

    void WaitFor(std::size_t threads) {
        std::unique_lock guard(mutex_);
        changed_.wait(guard, [&] { return stopped_ == threads; });
    }
    void End() {
        const std::lock_guard guard(mutex_);
        ended_ = true;
        changed_.notify_all();
    }

private:
    void Stop() {
        std::unique_lock guard(mutex_);
        ++stopped_;
        changed_.notify_all();
        changed_.wait(guard, [&] { return ended_; });
    }

    static inline thread_local int callsLeft_ = 0;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t stopped_ = 0;
    bool ended_ = false;
    FakeSend send_{[this](SOCKET socket, const char* data, int length, int flags) {
        const int sent = send_.Real(socket, data, length, flags);
        if (callsLeft_ > 0 && --callsLeft_ == 0) Stop();
        return sent;
    }};
};

// Several threads that use the library. All numbers that they use are those of bystanders.
class Bystanders : public testing::Test {
protected:
    static constexpr std::size_t kThreads = 4;
    static constexpr std::size_t kRounds = 4;
    static constexpr std::size_t kSocketsPerThread = 1 + kRounds * 4 * 2;

    // One thread: a block within which the peer hangs up, and then everything else.
    void UseTheLibrary(std::size_t thread) {
        {
            Client client;
            EXPECT_TRUE(client.ConnectTo(Peer::kWaits));
            clients[thread] = &client;
            Pause::Expect();
            SendEverything(client);
            SendEverything(client);
        }
        for (std::size_t round = 0; round < kRounds; ++round) {
            for (const Peer peer : {Peer::kRefuses, Peer::kHangsUp, Peer::kGreets, Peer::kWaits}) {
                (void)TestPort(peer);
                Client client;
                (void)client.ConnectTo(peer);
                SendEverything(client);
            }
        }
    }

    void HangUpWithinTheBlocks() {
        pause.WaitFor(kThreads);
        numbers.HangUp();
        for (const Client* client : clients) EXPECT_TRUE(client->ThreadEnds());
        EXPECT_EQ(0, numbers.LateCalls());
    }

    BorrowedNumbers numbers{kThreads * kSocketsPerThread};
    Pause pause;
    Faults faults;
    std::vector<const Client*> clients = std::vector<const Client*>(kThreads);
};

TEST_F(Bystanders, AreIntactAfterPortTestsSendsFaultsAndHangUpsOnSeveralThreads) {
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i)
        threads.emplace_back([this, i] { UseTheLibrary(i); });
    HangUpWithinTheBlocks();
    faults.Begin();
    pause.End();

    for (std::thread& thread : threads) thread.join();
    faults.End();

    EXPECT_EQ("", numbers.Damage());
}

}  // namespace
