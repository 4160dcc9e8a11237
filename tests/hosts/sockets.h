#pragma once

#include <winsock.h>
#include <windows.h>

// A port of this machine. Whether something listens at it is fixed.
class LoopbackPort {
public:
    explicit LoopbackPort(bool listens) {
        WSADATA data;
        (void)::WSAStartup(MAKEWORD(1, 1), &data);
        socket_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        int size = sizeof(address);
        (void)::bind(socket_, generic, size);
        (void)::getsockname(socket_, generic, &size);
        if (listens) (void)::listen(socket_, 5);
        number_ = ::ntohs(address.sin_port);
    }
    LoopbackPort(const LoopbackPort&) = delete;
    LoopbackPort& operator=(const LoopbackPort&) = delete;
    ~LoopbackPort() { (void)::closesocket(socket_); }

    [[nodiscard]] int Number() const { return number_; }
    // Takes a connection that was made, so that the queue of connections does not fill up.
    void Accept() const { (void)::closesocket(::accept(socket_, nullptr, nullptr)); }

private:
    SOCKET socket_;
    int number_;
};
