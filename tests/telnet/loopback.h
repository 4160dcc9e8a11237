#pragma once

#include <winsock.h>
#include <windows.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/unique_handle.h"

// Real sockets on the loopback address, for the far end of a tested connection. The system chooses
// the ports. Reading times out after ten seconds, so that a test fails rather than hangs.

struct SocketTraits {
    using Value = SOCKET;
    static Value Empty() noexcept { return INVALID_SOCKET; }
    // Not inlined, so that a test may close sockets both during a fake's life and outside it: see
    // the note on imports in fake_api.h.
    [[gnu::noinline]] static void Close(Value value) noexcept { ::closesocket(value); }
};
using UniqueSocket = Unique<SocketTraits>;

inline sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = ::htons(port);
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    return address;
}

inline void Require(bool worked, const char* what) {
    if (!worked) throw std::runtime_error(what);
}

inline UniqueSocket MakeSocket() {
    WSADATA data{};
    Require(::WSAStartup(MAKEWORD(2, 2), &data) == 0, "WSAStartup");
    UniqueSocket made(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    Require(static_cast<bool>(made), "socket");
    return made;
}

// Binds the socket to a port that the system chooses, and returns the port.
inline std::uint16_t BindToSomePort(const UniqueSocket& socket) {
    sockaddr_in address = Loopback(0);
    int size = sizeof(address);
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    Require(::bind(socket.Get(), plain, size) == 0, "bind");
    Require(::getsockname(socket.Get(), plain, &size) == 0, "getsockname");
    return ::ntohs(address.sin_port);
}

class LoopbackListener {
public:
    LoopbackListener() { Require(::listen(socket_.Get(), kQueue) == 0, "listen"); }

    [[nodiscard]] std::uint16_t Port() const { return port_; }

    // Accepts the next connection. Connections wait in the system's queue until they are accepted,
    // so a test can connect first and accept afterwards, without a second thread.
    [[nodiscard]] UniqueSocket Accept() const {
        UniqueSocket accepted(::accept(socket_.Get(), nullptr, nullptr));
        Require(static_cast<bool>(accepted), "accept");
        const int milliseconds = 10'000;
        ::setsockopt(accepted.Get(), SOL_SOCKET, SO_RCVTIMEO,
                     reinterpret_cast<const char*>(&milliseconds), sizeof(milliseconds));
        return accepted;
    }

    // Also ends an Accept that waits on another thread.
    void Close() { socket_.Reset(); }

private:
    static constexpr int kQueue = 100;

    UniqueSocket socket_ = MakeSocket();
    std::uint16_t port_ = BindToSomePort(socket_);
};

// The number of a port on which nobody listens. While this lives, no other program can, and the
// system does not choose the port for the near end of a connection to it, which would then be
// connected with itself.
class ClosedPort {
public:
    operator std::uint16_t() const { return port_; }

private:
    UniqueSocket socket_ = MakeSocket();
    std::uint16_t port_ = BindToSomePort(socket_);
};

// The two ends of one connection.
struct SocketPair {
    SocketPair() : here(MakeSocket()) {
        const LoopbackListener listener;
        const sockaddr_in address = Loopback(listener.Port());
        Require(::connect(here.Get(), reinterpret_cast<const sockaddr*>(&address),
                          sizeof(address)) == 0,
                "connect");
        there = listener.Accept();
    }

    UniqueSocket here;
    UniqueSocket there;
};

inline void SendText(const UniqueSocket& socket, const std::string& text) {
    ::send(socket.Get(), text.data(), static_cast<int>(text.size()), 0);
}

// Reads `size` bytes, or fewer when the connection ends earlier.
inline std::string ReceiveBytes(const UniqueSocket& socket, std::size_t size) {
    std::string bytes(size, '\0');
    std::size_t have = 0;
    while (have < size) {
        const int got = ::recv(socket.Get(), bytes.data() + have, static_cast<int>(size - have), 0);
        if (got <= 0) break;
        have += static_cast<std::size_t>(got);
    }
    bytes.resize(have);
    return bytes;
}

// Reads until the other end closes.
inline std::string ReceiveAll(const UniqueSocket& socket) {
    return ReceiveBytes(socket, 1 << 20);
}
