#include "telnet/telnet_client.h"

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/process_counts.h"
#include "telnet/fake_sockets.h"
#include "telnet/line_splitter_model.h"
#include "telnet/loopback.h"
#include "telnet/telnet.h"
#include "telnet/virtual_slots.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

class Client : public TELNET::TelnetClient {
public:
    std::vector<std::int32_t> connects;
    void OnConnect(std::int32_t reserved) override { connects.push_back(reserved); }

    // Whether the receive thread ends within ten seconds.
    [[nodiscard]] bool ThreadEnds() const {
        return ::WaitForSingleObject(thread.Get(), 10'000) == WAIT_OBJECT_0;
    }

    // Takes all queued texts.
    std::vector<std::string> Texts() {
        std::vector<std::string> texts;
        std::int32_t tag = -1;
        while (const char* text = PopMessage(&tag)) {
            texts.emplace_back(text);
            tags.push_back(tag);
        }
        return texts;
    }
    std::vector<std::int32_t> tags;

    using TelnetClient::messages;
    using TelnetClient::negotiated;
    using TelnetClient::socket;
    using TelnetClient::socketLock;
    using TelnetClient::spareQueue;
    using TelnetClient::thread;
};

// --- Connecting ----------------------------------------------------------------------------------

TEST(TelnetClient, StartsIdle) {
    const Client client;

    EXPECT_EQ(INVALID_SOCKET, client.socket);
    EXPECT_EQ(nullptr, client.thread.Get());
    EXPECT_FALSE(client.negotiated);
}

TEST(TelnetClient, StartsWindowsSocketsWithVersion2Point2) {
    std::vector<WORD> versions;
    const FakeStartup startup([&](WORD version, WSADATA* data) {
        versions.push_back(version);
        return startup.Real(version, data);
    });

    const Client client;

    EXPECT_THAT(versions, ElementsAre(0x0202));
}

TEST(TelnetClient, NeverCleansUpWindowsSockets) {
    EXPECT_THROW(ImportPatch(::GetModuleHandleW(nullptr), "WSACleanup", nullptr), std::logic_error);
}

TEST(TelnetClient, ConnectsEvenWhenStartingWindowsSocketsReportsAFailure) {
    const LoopbackListener listener;
    const FakeStartup startup([](WORD, WSADATA*) { return WSASYSNOTREADY; });

    Client client;

    EXPECT_TRUE(client.Connect(nullptr, listener.Port()));
}

TEST(TelnetClient, ConnectsToAListeningPort) {
    const LoopbackListener listener;
    Client client;

    EXPECT_TRUE(client.Connect(nullptr, listener.Port()));

    EXPECT_NE(INVALID_SOCKET, client.socket);
    EXPECT_NE(nullptr, client.thread.Get());
}

TEST(TelnetClient, IgnoresTheHostItIsGiven) {
    const LoopbackListener listener;
    Client client;

    EXPECT_TRUE(client.Connect("no such host", listener.Port()));
}

TEST(TelnetClient, DoesNotConnectToAClosedPort) {
    Client client;

    EXPECT_FALSE(client.Connect(nullptr, ClosedPort()));

    EXPECT_EQ(nullptr, client.thread.Get());
}

TEST(TelnetClient, CreatesATcpSocket) {
    std::vector<int> arguments;
    const FakeSocket socket([&](int family, int type, int protocol) {
        arguments = {family, type, protocol};
        return INVALID_SOCKET;
    });
    Client client;

    (void)client.Connect(nullptr, 1);

    EXPECT_THAT(arguments, ElementsAre(2, 1, 6));
}

TEST(TelnetClient, ReturnsFalseAndDoesNotConnectWithoutASocket) {
    const FakeSocket socket([](int, int, int) { return INVALID_SOCKET; });
    bool tried = false;
    const FakeConnect connect([&](SOCKET, const sockaddr*, int) {
        tried = true;
        return 0;
    });
    Client client;

    EXPECT_FALSE(client.Connect(nullptr, 1));

    EXPECT_FALSE(tried);
    EXPECT_EQ(INVALID_SOCKET, client.socket);
    EXPECT_THAT(client.connects, IsEmpty());
}

// Connects to port 0x1234 through a connect that fails, and returns the address passed to it.
std::string ConnectedAddress() {
    std::string address;
    const FakeConnect connect([&](SOCKET, const sockaddr* name, int size) {
        address.assign(reinterpret_cast<const char*>(name), static_cast<std::size_t>(size));
        return SOCKET_ERROR;
    });
    Client client;
    (void)client.Connect(nullptr, 0x1234);
    return address;
}

TEST(TelnetClient, PassesTheLoopbackAddressInSixteenBytes) {
    EXPECT_EQ(std::string("\x02\0\x12\x34\x7F\0\0\x01\0\0\0\0\0\0\0\0", 16), ConnectedAddress());
}

TEST(TelnetClient, DoesNotResolveTheLoopbackAddress) {
    bool asked = false;
    const FakeApi<"gethostbyname", decltype(::gethostbyname)> resolver([&](const char*) {
        asked = true;
        return nullptr;
    });

    (void)ConnectedAddress();

    EXPECT_FALSE(asked);
}

TEST(TelnetClient, UsesTheResolversFirstAddressAndFamilyWhenTheTextIsNotUnderstood) {
    const FakeApi<"inet_addr", decltype(::inet_addr)> noAddress(
        [](const char*) { return INADDR_NONE; });
    std::string asked;
    char first[] = {10, 11, 12, 13};
    char second[] = {20, 21, 22, 23};
    char* addresses[] = {first, second, nullptr};
    hostent host{};
    host.h_addr_list = addresses;
    host.h_length = 4;
    host.h_addrtype = 23;
    const FakeApi<"gethostbyname", decltype(::gethostbyname)> resolver([&](const char* name) {
        asked = name;
        return &host;
    });

    EXPECT_EQ(std::string("\x17\0\x12\x34\x0A\x0B\x0C\x0D\0\0\0\0\0\0\0\0", 16),
              ConnectedAddress());

    EXPECT_EQ("127.0.0.1", asked);
}

TEST(TelnetClient, KeepsTheSocketOfAFailedConnectUntilItCloses) {
    const ClosedPort port;
    CountedCloses closes;
    Client client;
    (void)client.Connect(nullptr, port);
    const SOCKET kept = client.socket;

    EXPECT_NE(INVALID_SOCKET, kept);
    EXPECT_EQ(0, closes.Of(kept));
    client.Close();
    EXPECT_EQ(1, closes.Of(kept));
    EXPECT_EQ(INVALID_SOCKET, client.socket);
}

TEST(TelnetClient, ClosesTheSocketOfAFailedConnectWhenDestroyed) {
    const ClosedPort port;
    CountedCloses closes;
    SOCKET kept = INVALID_SOCKET;
    {
        Client client;
        (void)client.Connect(nullptr, port);
        kept = client.socket;
    }

    EXPECT_EQ(1, closes.Of(kept));
}

TEST(TelnetClient, CallsOnConnectOnceWithZero) {
    const LoopbackListener listener;
    Client client;

    (void)client.Connect(nullptr, listener.Port());

    EXPECT_THAT(client.connects, ElementsAre(0));
}

TEST(TelnetClient, DoesNotCallOnConnectWhenConnectFails) {
    Client client;

    (void)client.Connect(nullptr, ClosedPort());

    EXPECT_THAT(client.connects, IsEmpty());
}

TEST(TelnetClient, StartsItsThreadWithTheSystemsDefaultsAfterOnConnect) {
    const LoopbackListener listener;
    Client client;
    bool defaults = false;
    void* given = nullptr;
    std::size_t connectsBefore = 0;
    const FakeCreateThread create([&](SECURITY_ATTRIBUTES* security, SIZE_T stack,
                                      LPTHREAD_START_ROUTINE start, void* parameter, DWORD flags,
                                      DWORD* id) {
        defaults = security == nullptr && stack == 0 && flags == 0 && id == nullptr;
        given = parameter;
        connectsBefore = client.connects.size();
        return create.Real(security, stack, start, parameter, flags, id);
    });

    (void)client.Connect(nullptr, listener.Port());

    EXPECT_TRUE(defaults);
    EXPECT_EQ(static_cast<TELNET::TelnetClient*>(&client), given);
    EXPECT_EQ(1u, connectsBefore);
}

TEST(TelnetClient, ReturnsTrueWithoutAThreadAndIsIdle) {
    const LoopbackListener listener;
    CountedCloses closes;
    SOCKET opened = INVALID_SOCKET;
    Client client;
    const FakeCreateThread create([&](auto...) -> HANDLE {
        opened = client.socket;
        return nullptr;
    });

    EXPECT_TRUE(client.Connect(nullptr, listener.Port()));

    EXPECT_EQ(INVALID_SOCKET, client.socket);
    EXPECT_EQ(nullptr, client.thread.Get());
    EXPECT_EQ(1, closes.Of(opened));
}

// --- Ending --------------------------------------------------------------------------------------

TEST(TelnetClient, EndsTheConnectionAndItsThreadOnClose) {
    const LoopbackListener listener;
    Client client;
    (void)client.Connect(nullptr, listener.Port());
    const UniqueSocket peer = listener.Accept();

    client.Close();

    EXPECT_EQ(INVALID_SOCKET, client.socket);
    EXPECT_EQ(nullptr, client.thread.Get());
    EXPECT_EQ("", ReceiveAll(peer));
}

TEST(TelnetClient, ClosesItsSocketOnlyOnce) {
    const LoopbackListener listener;
    CountedCloses closes;
    SOCKET opened = INVALID_SOCKET;
    {
        Client client;
        (void)client.Connect(nullptr, listener.Port());
        opened = client.socket;
        client.Close();
        client.Close();
    }

    EXPECT_EQ(1, closes.Of(opened));
}

TEST(TelnetClient, ClosesAnIdleClientWithoutASystemCall) {
    CountedCloses closes;
    Client client;

    client.Close();

    EXPECT_EQ(0, closes.Of(INVALID_SOCKET));
}

TEST(TelnetClient, ClosesTheSocketUnderItsLockAndWaitsWithoutIt) {
    const LoopbackListener listener;
    Client client;
    (void)client.Connect(nullptr, listener.Port());
    const auto isFree = [&] {
        bool entered = false;
        std::thread([&] {
            entered = client.socketLock.try_lock();
            if (entered) client.socketLock.unlock();
        }).join();
        return entered;
    };
    std::optional<bool> freeWhileClosing;
    std::optional<bool> freeWhileWaiting;
    DWORD limit = 0;
    const HANDLE thread = client.thread.Get();
    {
        const FakeCloseSocket close([&](SOCKET socket) {
            if (!freeWhileClosing) freeWhileClosing = isFree();
            return close.Real(socket);
        });
        const FakeApi<"WaitForSingleObject", decltype(::WaitForSingleObject)> wait(
            [&](HANDLE object, DWORD milliseconds) {
                if (object != thread) return wait.Real(object, milliseconds);
                limit = milliseconds;
                const DWORD result = wait.Real(object, milliseconds);
                freeWhileWaiting = isFree();
                return result;
            });

        client.Close();
    }

    EXPECT_EQ(false, freeWhileClosing);
    EXPECT_EQ(true, freeWhileWaiting);
    EXPECT_EQ(INFINITE, limit);
}

TEST(TelnetClient, BecomesIdleWhenThePeerCloses) {
    const LoopbackListener listener;
    CountedCloses closes;
    Client client;
    (void)client.Connect(nullptr, listener.Port());
    const SOCKET opened = client.socket;

    listener.Accept().Reset();

    EXPECT_TRUE(client.ThreadEnds());
    EXPECT_EQ(INVALID_SOCKET, client.socket);
    EXPECT_EQ(1, closes.Of(opened));
}

TEST(TelnetClient, BecomesIdleWhenReceivingFails) {
    const LoopbackListener listener;
    const FakeRecv recv([](SOCKET, char*, int, int) { return SOCKET_ERROR; });
    Client client;

    (void)client.Connect(nullptr, listener.Port());

    EXPECT_TRUE(client.ThreadEnds());
    EXPECT_EQ(INVALID_SOCKET, client.socket);
}

TEST(TelnetClient, EndsItsThreadWithExitCodeZero) {
    const LoopbackListener listener;
    Client client;
    (void)client.Connect(nullptr, listener.Port());
    listener.Accept().Reset();
    (void)client.ThreadEnds();
    DWORD code = 99;

    ::GetExitCodeThread(client.thread.Get(), &code);

    EXPECT_EQ(0u, code);
}

TEST(TelnetClient, LeavesNoThreadAndNoHandleWhenThePeerClosesFirst) {
    const LoopbackListener listener;
    const CountsAround counts([&] {
        Client client;
        (void)client.Connect(nullptr, listener.Port());
        listener.Accept().Reset();
        (void)client.ThreadEnds();
    });

    EXPECT_EQ(counts.before, counts.after);
}

// Keeps the receive thread running for a while after its routine has ended.
struct LingeringThread {
    LPTHREAD_START_ROUTINE routine = nullptr;
    void* parameter = nullptr;
    std::atomic<bool> received = false;
    std::atomic<bool> ended = false;

    static DWORD WINAPI Run(void* self) {
        auto& thread = *static_cast<LingeringThread*>(self);
        const DWORD code = thread.routine(thread.parameter);
        thread.received = true;
        ::Sleep(100);
        thread.ended = true;
        return code;
    }

    FakeCreateThread create{
        [this](auto, auto, LPTHREAD_START_ROUTINE started, void* argument, auto, auto) {
            routine = started;
            parameter = argument;
            return create.Real(nullptr, 0, &Run, this, 0, nullptr);
        }};
};

TEST(TelnetClient, WaitsForItsThreadEvenWhenTheThreadHasAlreadyClosedTheSocket) {
    const LoopbackListener listener;
    LingeringThread lingering;
    {
        Client client;
        (void)client.Connect(nullptr, listener.Port());
        listener.Accept().Reset();
        while (!lingering.received) std::this_thread::yield();
    }

    EXPECT_TRUE(lingering.ended);
}

TEST(TelnetClient, WaitsForItsThreadAgainWhenAWaitFails) {
    const LoopbackListener listener;
    LingeringThread lingering;
    int waits = 0;
    bool endedBeforeClosing = false;
    {
        Client client;
        (void)client.Connect(nullptr, listener.Port());
        const HANDLE thread = client.thread.Get();
        const FakeApi<"WaitForSingleObject", decltype(::WaitForSingleObject)> wait(
            [&](HANDLE object, DWORD milliseconds) {
                if (object == thread && ++waits <= 2) return DWORD{WAIT_FAILED};
                return wait.Real(object, milliseconds);
            });

        client.Close();

        endedBeforeClosing = lingering.ended;
    }

    EXPECT_TRUE(endedBeforeClosing);
    EXPECT_EQ(3, waits);
}

TEST(TelnetClient, ClosesOnItsThreadOnlyASocketThatIsStillItsOwn) {
    const LoopbackListener listener;
    CountedCloses closes;
    Client client;
    SOCKET first = INVALID_SOCKET;
    const FakeRecv recv([&](SOCKET socket, char*, int, int) {
        if (first == INVALID_SOCKET) {
            // As if the owner had closed the socket during this call and opened another.
            first = socket;
            client.socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        }
        return 0;
    });

    (void)client.Connect(nullptr, listener.Port());

    EXPECT_TRUE(client.ThreadEnds());
    EXPECT_EQ(0, closes.Of(first));
    EXPECT_EQ(INVALID_SOCKET, client.socket);
    UniqueSocket(first).Reset();
}

TEST(TelnetClient, ConnectsAgainAfterThePeerClosed) {
    const LoopbackListener listener;
    Client client;
    (void)client.Connect(nullptr, listener.Port());
    listener.Accept().Reset();
    (void)client.ThreadEnds();

    EXPECT_TRUE(client.Connect(nullptr, listener.Port()));

    SendText(listener.Accept(), "again\n");
    EXPECT_TRUE(client.ThreadEnds());
    EXPECT_THAT(client.Texts(), ElementsAre("again\n", "\n"));
}

TEST(TelnetClient, ClosesThePreviousConnectionWhenItConnectsAgain) {
    const LoopbackListener listener;
    Client client;
    (void)client.Connect(nullptr, listener.Port());
    const UniqueSocket first = listener.Accept();

    EXPECT_TRUE(client.Connect(nullptr, listener.Port()));

    EXPECT_EQ("", ReceiveAll(first));
}

TEST(TelnetClient, IsIdleAfterItFailsToConnectAgain) {
    const LoopbackListener listener;
    Client client;
    (void)client.Connect(nullptr, listener.Port());

    EXPECT_FALSE(client.Connect(nullptr, ClosedPort()));

    EXPECT_EQ(nullptr, client.thread.Get());
}

// --- Receiving -----------------------------------------------------------------------------------

// Lets a client receive these chunks until the connection ends, and returns what it has queued.
std::vector<std::string> Received(std::vector<std::string> chunks, Client& client) {
    const LoopbackListener listener;
    const ScriptedRecv recv(std::move(chunks));
    (void)client.Connect(nullptr, listener.Port());
    (void)client.ThreadEnds();
    return client.Texts();
}

std::vector<std::string> Received(std::vector<std::string> chunks) {
    Client client;
    return Received(std::move(chunks), client);
}

TEST(TelnetClient, ReceivesIntoABufferOf8192BytesWithoutFlags) {
    const LoopbackListener listener;
    const ScriptedRecv recv({"a\n"});
    SOCKET opened = INVALID_SOCKET;
    Client client;
    const FakeCreateThread create([&](auto... arguments) {
        opened = client.socket;
        return create.Real(arguments...);
    });

    (void)client.Connect(nullptr, listener.Port());

    EXPECT_TRUE(client.ThreadEnds());
    EXPECT_EQ(2u, recv.calls.size());
    EXPECT_THAT(recv.calls, Each(AllOf(Field(&ScriptedRecv::Call::socket, opened),
                                       Field(&ScriptedRecv::Call::length, 8192),
                                       Field(&ScriptedRecv::Call::flags, 0))));
}

TEST(TelnetClient, QueuesWhatThePeerSendsWithTagZeroAndKeepsItWhenThePeerCloses) {
    const LoopbackListener listener;
    Client client;
    (void)client.Connect(nullptr, listener.Port());

    SendText(listener.Accept(), "hello\r\n");

    EXPECT_TRUE(client.ThreadEnds());
    EXPECT_THAT(client.Texts(), ElementsAre("hello\r\n", "\n"));
    EXPECT_THAT(client.tags, ElementsAre(0, 0));
}

TEST(TelnetClient, QueuesALineThatArrivesInTwoChunksAsTwoTexts) {
    EXPECT_THAT(Received({"abc", "def\n"}), ElementsAre("abc", "def\n", "\n"));
}

TEST(TelnetClient, QueuesALineThatFillsTheBuffer) {
    EXPECT_THAT(Received({std::string(8191, 'x') + "\n"}),
                ElementsAre(std::string(8191, 'x') + "\n", "\n"));
}

TEST(TelnetClient, ReadsZeroBytesAfterACommandThatAFullBufferCutsOff) {
    Client client;
    const LoopbackListener listener;
    const ScriptedRecv recv({std::string(8190, 'x') + "\n\xFF"});

    (void)client.Connect(nullptr, listener.Port());

    EXPECT_TRUE(client.ThreadEnds());
    EXPECT_EQ(2u, client.messages.size());
    EXPECT_EQ(std::string("\n\xFF\0\0\0", 5), std::string(client.messages.back()->text.get(), 5));
}

TEST(TelnetClient, ReadsNothingOfAnEarlierChunkAfterACommandThatIsCutOff) {
    Client client;
    const LoopbackListener listener;
    const ScriptedRecv recv({"secret\n", "a\n\xFF"});

    (void)client.Connect(nullptr, listener.Port());

    EXPECT_TRUE(client.ThreadEnds());
    EXPECT_EQ(std::string("\n\xFF\0\0\0", 5), std::string(client.messages.back()->text.get(), 5));
}

TEST(TelnetClient, AgreesWithTheModelOnRandomChunks) {
    std::mt19937 random(20'240'611);
    std::vector<std::string> chunks;
    std::vector<std::string> expected;
    for (int i = 0; i < 2000; ++i) {
        const std::string chunk = RandomChunk(random, 60);
        if (chunk.empty()) continue;
        chunks.push_back(chunk);
        for (const std::string& text : ModelSplit(chunk, std::string(2, '\0')))
            expected.push_back(text.c_str());
    }

    EXPECT_EQ(expected, Received(chunks));
}

TEST(TelnetClient, NeverFillsTheSpareQueue) {
    Client client;

    (void)Received({"abc\n"}, client);

    EXPECT_TRUE(client.spareQueue.empty());
}

// --- Telnet options ------------------------------------------------------------------------------

// Is the current endpoint of the process while it lives.
class OptionEndpoint : public TELNET::Telnet {
public:
    OptionEndpoint() { TELNET::g_currentTelnet = this; }
    OptionEndpoint(const OptionEndpoint&) = delete;
    OptionEndpoint& operator=(const OptionEndpoint&) = delete;
    ~OptionEndpoint() override { TELNET::g_currentTelnet = nullptr; }

    bool IsServer() override { return false; }
    bool IsConnected() override { return true; }
    bool Send(std::uint32_t clientId, const char* format, ...) override {
        clientIds.push_back(clientId);
        formats.emplace_back(format);
        return true;
    }
    const char* Receive(std::int32_t*) override { return nullptr; }
    char** ParseLine(const char*, std::int32_t*) override { return nullptr; }

    std::vector<std::uint32_t> clientIds;
    std::vector<std::string> formats;
};

TEST(TelnetOptions, HaveNoEndpointToAnswerThemAtFirst) {
    EXPECT_EQ(nullptr, TELNET::g_currentTelnet);
}

TEST(TelnetOptions, AreSkippedWithoutAnAnswerWhileThereIsNoCurrentEndpoint) {
    Client client;

    EXPECT_THAT(Received({"\xFF\xFB\x01hi\n"}, client), ElementsAre("hi\n", "\n"));

    EXPECT_TRUE(client.negotiated);
}

TEST(TelnetOptions, AreAnsweredThroughTheCurrentEndpoint) {
    OptionEndpoint endpoint;
    RecordedSends ownSends;
    Client client;

    (void)Received({"\xFF\xFB\x01hi\n"}, client);

    EXPECT_THAT(endpoint.clientIds, ElementsAre(0u));
    EXPECT_THAT(endpoint.formats,
                ElementsAre("\xFF\xFB\x18\xFF\xFD\x03\xFF\xFB\x03\xFF\xFD\x01\xFF\xFB\x1F"));
    EXPECT_TRUE(client.negotiated);
    EXPECT_THAT(ownSends.calls, IsEmpty());
}

TEST(TelnetOptions, AreAnsweredOnce) {
    OptionEndpoint endpoint;

    EXPECT_THAT(Received({"\xFF\xFB\x01", "\xFF\xFB\x03ho\n"}), ElementsAre("ho\n", "\n"));

    EXPECT_EQ(1u, endpoint.formats.size());
}

TEST(TelnetOptions, AreAnsweredOnlyWhenAChunkBeginsWithThem) {
    OptionEndpoint endpoint;
    Client client;

    (void)Received({"\n\xFF\xFB\x01", "a\xFF\xFB\x01\n"}, client);

    EXPECT_THAT(endpoint.formats, IsEmpty());
    EXPECT_FALSE(client.negotiated);
}

TEST(TelnetOptions, AreAnsweredInALaterChunkToo) {
    OptionEndpoint endpoint;

    (void)Received({"a\n", "\xFF\xFB\x01"});

    EXPECT_EQ(1u, endpoint.formats.size());
}

// --- Sending -------------------------------------------------------------------------------------

class TelnetClientSends : public testing::Test {
protected:
    TelnetClientSends() {
        (void)client.Connect(nullptr, listener.Port());
        peer = listener.Accept();
    }

    // Ends the connection and returns what reached the peer.
    std::string Wire() {
        client.Close();
        return ReceiveAll(peer);
    }

    LoopbackListener listener;
    Client client;
    UniqueSocket peer;
};

TEST_F(TelnetClientSends, FormattedText) {
    EXPECT_TRUE(client.SendFormat(0, "%s=%d\r\n", "value", 42));

    EXPECT_EQ("value=42\r\n", Wire());
}

TEST_F(TelnetClientSends, FormattedTextWhateverTheClientNumber) {
    EXPECT_TRUE(client.SendFormat(4711, "text"));

    EXPECT_EQ("text", Wire());
}

TEST_F(TelnetClientSends, FormattedTextOfUpTo8191CharactersWhole) {
    EXPECT_TRUE(client.SendFormat(0, "%s", std::string(8191, 'x').c_str()));

    EXPECT_EQ(std::string(8191, 'x'), Wire());
}

TEST_F(TelnetClientSends, LongerFormattedTextCutTo8191Characters) {
    EXPECT_TRUE(client.SendFormat(0, "%s", (std::string(8191, 'x') + "yz").c_str()));

    EXPECT_EQ(std::string(8191, 'x'), Wire());
}

TEST_F(TelnetClientSends, FormattedTextInOneCallWithoutFlags) {
    RecordedSends sends;

    (void)client.SendFormat(0, "%s", std::string(5000, 'x').c_str());

    EXPECT_THAT(sends.Lengths(), ElementsAre(5000));
    EXPECT_EQ(client.socket, sends.calls.at(0).socket);
    EXPECT_EQ(0, sends.calls.at(0).flags);
}

TEST_F(TelnetClientSends, FormattedTextOnlyUpToAZeroByte) {
    RecordedSends sends;

    (void)client.SendFormat(0, "ab%ccd", '\0');

    EXPECT_THAT(sends.Lengths(), ElementsAre(2));
}

TEST_F(TelnetClientSends, RawBytes) {
    EXPECT_TRUE(client.SendRaw("a\0%s\xFF", 5));

    EXPECT_EQ(std::string("a\0%s\xFF", 5), Wire());
}

TEST_F(TelnetClientSends, RawBytesInOneCallWithoutFlags) {
    RecordedSends sends;
    const std::string bytes(5000, 'x');

    (void)client.SendRaw(bytes.data(), 5000);

    EXPECT_THAT(sends.Lengths(), ElementsAre(5000));
    EXPECT_EQ(client.socket, sends.calls.at(0).socket);
    EXPECT_EQ(0, sends.calls.at(0).flags);
}

TEST_F(TelnetClientSends, ABlockInItsFrame) {
    const TELNET::NxBlock block{0, "data", "payload", 7};

    EXPECT_TRUE(client.SendBlock(&block));

    EXPECT_EQ("\r\n<NxBlock=data>payload</NxBlock>\r\n", Wire());
}

TEST_F(TelnetClientSends, ALongBlockInPiecesWhateverTheClientNumber) {
    RecordedSends sends;
    const std::string payload(2500, 'x');
    const TELNET::NxBlock block{0, "data", payload.data(), 2500};

    EXPECT_TRUE(client.SendBlock(&block));

    EXPECT_THAT(sends.Lengths(), ElementsAre(16, 1024, 1024, 452, 12));
    EXPECT_THAT(sends.Sockets(), Each(client.socket.load()));
}

TEST_F(TelnetClientSends, TheRestOfABlockNowhereWhenThePeerHangsUpWithinIt) {
    RecordedSends sends;
    sends.during = [&](std::size_t call) {
        if (call != 1) return;
        peer.Reset();
        EXPECT_TRUE(client.ThreadEnds());
    };
    const SOCKET opened = client.socket;
    const std::string payload(2500, 'x');
    const TELNET::NxBlock block{0, "data", payload.data(), 2500};

    EXPECT_TRUE(client.SendBlock(&block));

    EXPECT_THAT(sends.Sockets(),
                ElementsAre(opened, opened, INVALID_SOCKET, INVALID_SOCKET, INVALID_SOCKET));
}

TEST_F(TelnetClientSends, ABlockWithANameThatIsLongerThanTheHeadersBuffer) {
    const std::string name(5000, 'n');
    const TELNET::NxBlock block{0, name.c_str(), "payload", 7};

    EXPECT_TRUE(client.SendBlock(&block));

    EXPECT_EQ("\r\n<NxBlock=" + name + ">payload</NxBlock>\r\n", Wire());
}

TEST(TelnetClient, ReturnsTrueForSendsThatReachNobody) {
    Client client;
    const TELNET::NxBlock block{0, "data", "payload", 7};

    EXPECT_TRUE(client.SendFormat(0, "text"));
    EXPECT_TRUE(client.SendRaw("text", 4));
    EXPECT_TRUE(client.SendBlock(&block));
}

// --- Layout --------------------------------------------------------------------------------------

TEST(TelnetClient, HasItsVirtualFunctionsInTheirSlots) {
    EXPECT_EQ(1u, SlotOf(&TELNET::TelnetClient::SendFormat));
    EXPECT_EQ(2u, SlotOf(&TELNET::TelnetClient::SendBlock));
    EXPECT_EQ(3u, SlotOf(&TELNET::TelnetClient::SendRaw));
}

TEST(TelnetClient, HasItsFieldsInOrderAfterTheBase) {
    const Client client;

    const std::vector<const void*> places{&client.spareQueue, &client.socketLock, &client.socket,
                                          &client.thread, &client.negotiated};

    EXPECT_THAT(places, testing::WhenSorted(testing::ElementsAreArray(places)));
    EXPECT_EQ(sizeof(SOCKET), sizeof(client.socket));
    EXPECT_EQ(sizeof(HANDLE), sizeof(client.thread));
}

}  // namespace
