#include "telnet/telnet_client.h"

#include <array>
#include <cstdarg>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <new>

#include "telnet/formatting.h"
#include "telnet/line_splitter.h"
#include "telnet/loopback_address.h"
#include "telnet/telnet.h"

namespace TELNET {

namespace {

constexpr int kReceiveSize = 8192;

// IAC WILL TERMINAL-TYPE, IAC DO SUPPRESS-GO-AHEAD, IAC WILL SUPPRESS-GO-AHEAD, IAC DO ECHO,
// IAC WILL NAWS. It contains no percent sign, so it can be used as a format.
constexpr char kOptionReply[] = "\xFF\xFB\x18\xFF\xFD\x03\xFF\xFB\x03\xFF\xFD\x01\xFF\xFB\x1F";
static_assert(sizeof(kOptionReply) == 15 + 1);

// Spare memory for an editor of the incoming line. The receive thread allocates it before it reads
// from the connection, so a process without that much memory does not begin to queue lines.
struct InputState {
    std::unique_ptr<char[]> typed = std::make_unique<char[]>(1024);
    std::unique_ptr<char[]> edited = std::make_unique<char[]>(1024);
    std::deque<std::int32_t> keys;
    std::deque<std::int32_t> echoes;
};

sockaddr_in LoopbackAddress(std::uint16_t port) {
    sockaddr_in address{};
    static_assert(sizeof(address) == 16);
    address.sin_family = AF_INET;
    address.sin_port = ::htons(port);
    address.sin_addr.s_addr = ::inet_addr(kLoopbackAddress);
    if (address.sin_addr.s_addr == INADDR_NONE) {
        // Does not happen for an address in numbers, so the result is not tested.
        const hostent* host = ::gethostbyname(kLoopbackAddress);
        std::memcpy(&address.sin_addr, host->h_addr_list[0],
                    static_cast<std::size_t>(host->h_length));
        address.sin_family = host->h_addrtype;
    }
    return address;
}

}  // namespace

TelnetClient::TelnetClient() {
    // Never undone, as mendloft.h says: a WSACleanup would close the sockets of a host that
    // relies on this start. Windows undoes it when the process ends. When the start fails, creating
    // the socket fails as well.
    WSADATA data{};
    (void)::WSAStartup(MAKEWORD(2, 2), &data);
}

TelnetClient::~TelnetClient() {
    while (!Close()) {
    }
}

bool TelnetClient::Connect(const char* /*host*/, std::uint16_t port) {
    if (!Close()) return false;
    socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (socket == INVALID_SOCKET) return false;

    const sockaddr_in address = LoopbackAddress(port);
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        // The socket stays open until the next Close, which is in the destructor at the latest.
        return false;
    }
    OnConnect(0);
    StartReceiveThread();
    return true;
}

void TelnetClient::StartReceiveThread() {
    thread.Reset(::CreateThread(nullptr, 0, &RunReceiveThread, this, 0, nullptr));
    if (thread) return;
    // Connect returns true without the thread as well, because a port test asks whether the port
    // accepts connections, and it did. The connection is closed, so later sends reach nobody and no
    // line is queued.
    // No socket call has failed, so nothing uses the error code. In a trace of the socket calls,
    // this one shows that the thread is missing.
    (void)::WSAGetLastError();
    const std::lock_guard guard(socketLock);
    CloseSocket(socket);
}

bool TelnetClient::Close() {
    return CloseAndWait(socketLock, socket, thread);
}

bool TelnetClient::SendFormat(std::uint32_t /*clientId*/, const char* format, ...) {
    std::array<char, 8192> text{};
    std::va_list arguments;
    va_start(arguments, format);
    (void)FormatBounded(text.data(), text.size() - 1, format, arguments);
    va_end(arguments);
    (void)::send(socket, text.data(), static_cast<int>(std::strlen(text.data())), 0);
    return true;
}

bool TelnetClient::SendBlock(const NxBlock* block) {
    SendFramed(socket, *block, Payload::kInPieces);
    return true;
}

bool TelnetClient::SendRaw(const char* data, std::int32_t length) {
    (void)::send(socket, data, length, 0);
    return true;
}

DWORD WINAPI TelnetClient::RunReceiveThread(void* client) {
    try {
        static_cast<TelnetClient*>(client)->Receive();
    } catch (const std::bad_alloc&) {
        // There is too little memory to begin. The connection stays open and is not read.
    }
    return 0;
}

void TelnetClient::Receive() {
    SOCKET current = CurrentSocket();
    [[maybe_unused]] const InputState unused;
    std::array<char, kReceiveSize + kSplitterSlack> buffer;
    while (current != INVALID_SOCKET) {
        const int size = ::recv(current, buffer.data(), kReceiveSize, 0);
        if (size > 0) {
            // The splitter may read after the chunk, where bytes of an earlier chunk may be.
            std::memset(buffer.data() + size, 0, kSplitterSlack);
            Process(buffer.data(), size);
        } else {
            CloseIfStill(current);
        }
        current = CurrentSocket();
    }
}

void TelnetClient::Process(const char* chunk, int size) {
    if (static_cast<unsigned char>(chunk[0]) == kTelnetCommand && !negotiated) {
        // The reply goes through the endpoint of the process, not through this connection's socket:
        // the program that contains the library decides which of its connections speaks telnet. As
        // long as it has set no endpoint, there is no reply.
        if (g_currentTelnet != nullptr) (void)g_currentTelnet->Send(0, kOptionReply);
        negotiated = true;
    }
    SplitLines(chunk, size, [this](const char* text, int length) { PushMessage(text, length, 0); });
}

SOCKET TelnetClient::CurrentSocket() {
    const std::lock_guard guard(socketLock);
    return socket;
}

// Another thread may have closed the socket since then, and its number may belong to a new one.
void TelnetClient::CloseIfStill(SOCKET ended) {
    const std::lock_guard guard(socketLock);
    if (socket == ended) CloseSocket(socket);
}

}  // namespace TELNET
