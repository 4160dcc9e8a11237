#include "telnet/sockets.h"

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/process_counts.h"
#include "telnet/fake_sockets.h"
#include "telnet/loopback.h"
#include "telnet/my_telnet.h"
#include "telnet/port_probe.h"

// The end of a connection when Windows refuses to wait for its thread.

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Endpoint : public TELNET::MyTelnet {
public:
    explicit Endpoint(std::uint16_t port) : MyTelnet(false, port, 0) {}

    using MyTelnet::client;
    using MyTelnet::server;
};
using ClientOwner = decltype(Endpoint::client);
using ServerOwner = decltype(Endpoint::server);

struct Server : TELNET::TelnetServer {
    using TelnetServer::thread;
};

// Refuses to wait for the thread of a connection as often as a test says.
class RefusedWait : public testing::Test {
protected:
    static constexpr int kAlways = 1'000'000;

    static DWORD WINAPI Run(void* test) {
        auto& self = *static_cast<RefusedWait*>(test);
        (void)self.wait.Real(self.mayRun.Get(), INFINITE);
        const DWORD code = self.routine(self.parameter);
        self.ended = true;
        return code;
    }

    static DWORD WINAPI Accept(void*) { return 0; }

    // The test has a handle of its own for the thread.
    void ExpectTheThreadToEnd() {
        ::SetEvent(mayRun.Get());
        EXPECT_EQ(DWORD{WAIT_OBJECT_0}, wait.Real(thread.Get(), 10'000));
        EXPECT_TRUE(ended);
    }

    // The client that was left to its thread.
    [[nodiscard]] TELNET::TelnetClient* LeftClient() const {
        return static_cast<TELNET::TelnetClient*>(parameter);
    }

    void DeleteTheClient() {
        ExpectTheThreadToEnd();
        refusals = 0;
        const ClientOwner owner(LeftClient());
    }

    const LoopbackListener listener;
    int refusals = kAlways;
    int waits = 0;
    int refusedPins = 0;
    std::vector<DWORD> pins;  // with these flags
    HMODULE pinned = nullptr;

    UniqueHandle mayRun{::CreateEventW(nullptr, TRUE, TRUE, nullptr)};
    std::atomic<bool> ended = false;
    LPTHREAD_START_ROUTINE routine = nullptr;
    void* parameter = nullptr;
    HANDLE given = nullptr;
    UniqueHandle thread;
    FakeCreateThread create{
        [this](auto, auto, LPTHREAD_START_ROUTINE start, void* argument, auto, auto) {
            routine = start;
            parameter = argument;
            given = create.Real(nullptr, 0, &Run, this, 0, nullptr);
            ::DuplicateHandle(::GetCurrentProcess(), given, ::GetCurrentProcess(), thread.Receive(),
                              0, FALSE, DUPLICATE_SAME_ACCESS);
            return given;
        }};
    FakeApi<"WaitForSingleObject", decltype(::WaitForSingleObject)> wait{
        [this](HANDLE object, DWORD milliseconds) {
            if (object != given) return wait.Real(object, milliseconds);
            ++waits;
            return waits <= refusals ? DWORD{WAIT_FAILED} : wait.Real(object, milliseconds);
        }};
    FakeApi<"GetModuleHandleExW", decltype(::GetModuleHandleExW)> pin{
        [this](DWORD flags, const wchar_t* address, HMODULE* module) {
            pins.push_back(flags);
            if (refusedPins-- > 0) return FALSE;
            const BOOL done = pin.Real(flags, address, module);
            pinned = *module;
            return done;
        }};
};

TEST_F(RefusedWait, DoesNotChangeTheAnswerOfAPortTest) {
    EXPECT_TRUE(TestServicePort(listener.Port()));

    EXPECT_EQ(100, waits);
    DeleteTheClient();
}

TEST_F(RefusedWait, KeepsTheModuleLoaded) {
    (void)TestServicePort(listener.Port());

    constexpr DWORD pinByAddress = 1 | 4;
    EXPECT_THAT(pins, ElementsAre(pinByAddress));
    EXPECT_EQ(::GetModuleHandleW(nullptr), pinned);
    DeleteTheClient();
}

TEST_F(RefusedWait, EndsTheConnection) {
    (void)TestServicePort(listener.Port());

    EXPECT_EQ("", ReceiveAll(listener.Accept()));
    DeleteTheClient();
}

TEST_F(RefusedWait, LeavesNothingButTheClient) {
    const CountsAround counts([&] {
        refusals = waits + kAlways;
        (void)TestServicePort(listener.Port());
        (void)listener.Accept();
        DeleteTheClient();
        thread.Reset();
        pins = {};
    });

    EXPECT_EQ(counts.before, counts.after);
}

TEST_F(RefusedWait, LeavesTheClientToAThreadThatHasNotBegun) {
    ::ResetEvent(mayRun.Get());
    EXPECT_TRUE(TestServicePort(listener.Port()));

    ExpectTheThreadToEnd();

    DeleteTheClient();
}

TEST_F(RefusedWait, LeavesTheClientToAThreadThatStillReceives) {
    const UniqueHandle mayReceive(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::atomic<bool> receives = false;
    const FakeRecv recv([&](SOCKET, char* buffer, int, int) {
        receives = true;
        (void)wait.Real(mayReceive.Get(), INFINITE);
        return static_cast<int>(std::string("late\n").copy(buffer, 5));
    });
    {
        const Endpoint endpoint(listener.Port());
        while (!receives) std::this_thread::yield();
    }

    ::SetEvent(mayReceive.Get());
    ExpectTheThreadToEnd();

    std::int32_t tag = -1;
    EXPECT_STREQ("late\n", LeftClient()->PopMessage(&tag));
    DeleteTheClient();
}

TEST_F(RefusedWait, IsRepeatedUntilTheThreadHasEnded) {
    refusals = 99;

    EXPECT_TRUE(TestServicePort(listener.Port()));

    EXPECT_TRUE(ended);
    EXPECT_EQ(100, waits);
    EXPECT_THAT(pins, IsEmpty());
}

TEST_F(RefusedWait, IsRepeatedAfterAMillisecond) {
    refusals = 3;
    std::vector<DWORD> pauses;
    const DWORD caller = ::GetCurrentThreadId();
    const FakeApi<"Sleep", decltype(::Sleep)> sleep([&](DWORD milliseconds) {
        if (::GetCurrentThreadId() == caller) pauses.push_back(milliseconds);
    });

    EXPECT_TRUE(TestServicePort(listener.Port()));

    EXPECT_THAT(pauses, ElementsAre(1u, 1u, 1u));
}

TEST_F(RefusedWait, IsRepeatedAsLongAsTheModuleCanBeUnloaded) {
    refusedPins = 2;

    EXPECT_TRUE(TestServicePort(listener.Port()));

    EXPECT_EQ(300, waits);
    EXPECT_EQ(3u, pins.size());
    DeleteTheClient();
}

TEST_F(RefusedWait, KeepsTheHandleOfTheThreadForAnotherClose) {
    Endpoint endpoint(listener.Port());
    EXPECT_FALSE(endpoint.client->Close());
    EXPECT_EQ(100, waits);

    refusals = 0;
    EXPECT_TRUE(endpoint.client->Close());

    EXPECT_TRUE(ended);
    EXPECT_EQ(101, waits);
}

TEST_F(RefusedWait, KeepsAClientFromConnectingAgain) {
    Endpoint endpoint(listener.Port());

    EXPECT_FALSE(endpoint.client->Connect(nullptr, listener.Port()));
    refusals = 0;
    EXPECT_TRUE(endpoint.client->Connect(nullptr, listener.Port()));
}

TEST_F(RefusedWait, DelaysTheDestructorOfAClientThatNobodyCanLeave) {
    refusals = 250;
    {
        TELNET::TelnetClient client;
        EXPECT_TRUE(client.Connect(nullptr, listener.Port()));
    }

    EXPECT_TRUE(ended);
    EXPECT_EQ(251, waits);
}

TEST_F(RefusedWait, DelaysTheDestructorOfAServerThatNobodyCanLeave) {
    refusals = 250;
    {
        Server server;
        server.thread.Reset(::CreateThread(nullptr, 0, &Accept, nullptr, 0, nullptr));
    }

    EXPECT_TRUE(ended);
    EXPECT_EQ(251, waits);
}

TEST_F(RefusedWait, LeavesAServerToItsThread) {
    auto* const server = new Server;
    server->thread.Reset(::CreateThread(nullptr, 0, &Accept, nullptr, 0, nullptr));

    (void)ServerOwner(server);  // leaves at once

    EXPECT_EQ(100, waits);
    ExpectTheThreadToEnd();
    refusals = 0;
    const ServerOwner owner(server);
}

}  // namespace
