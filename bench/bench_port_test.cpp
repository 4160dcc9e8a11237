// Compares the port test with the least work that finds the same out: a bare socket, connect and
// closesocket. A third variant also has a thread receive in between, as the port test does, and so
// shows the cost of the thread. All run in this process and take turns, call by call, on a port
// where a thread accepts connections and on a closed one.
//
//   bench_port_test [CALLS]

#include <winsock.h>
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <vector>

#include "stopwatch.h"
#include "telnet/port_probe.h"

namespace {

sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = ::htons(port);
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    return address;
}

bool Connects(SOCKET socket, std::uint16_t port) {
    const sockaddr_in address = Loopback(port);
    return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

bool BareTest(std::uint16_t port) {
    const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    const bool open = Connects(socket, port);
    ::closesocket(socket);
    return open;
}

DWORD WINAPI ReceiveOnce(void* socket) {
    char byte = 0;
    (void)::recv(*static_cast<SOCKET*>(socket), &byte, 1, 0);
    return 0;
}

bool BareTestWithThread(std::uint16_t port) {
    SOCKET socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    const bool open = Connects(socket, port);
    const HANDLE thread =
        open ? ::CreateThread(nullptr, 0, &ReceiveOnce, &socket, 0, nullptr) : nullptr;
    ::closesocket(socket);
    if (thread != nullptr) {
        ::WaitForSingleObject(thread, INFINITE);
        ::CloseHandle(thread);
    }
    return open;
}

// Binds the socket to a port that the system chooses, and returns the port.
std::uint16_t BindToSomePort(SOCKET socket) {
    sockaddr_in address = Loopback(0);
    int size = sizeof(address);
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket, plain, size) != 0 || ::getsockname(socket, plain, &size) != 0) {
        throw std::runtime_error("no port");
    }
    return ::ntohs(address.sin_port);
}

// Accepts connections, and closes each one when the client does.
class Listener {
public:
    Listener() {
        if (::listen(socket_, 100) != 0) throw std::runtime_error("no port to listen on");
        thread_ = std::thread([this] { AcceptAll(); });
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() {
        ::closesocket(socket_);
        thread_.join();
    }

    [[nodiscard]] std::uint16_t Port() const { return port_; }

private:
    void AcceptAll() const {
        while (true) {
            const SOCKET accepted = ::accept(socket_, nullptr, nullptr);
            if (accepted == INVALID_SOCKET) return;
            char byte = 0;
            (void)::recv(accepted, &byte, 1, 0);
            ::closesocket(accepted);
        }
    }

    SOCKET socket_ = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    std::uint16_t port_ = BindToSomePort(socket_);
    std::thread thread_;
};

void Compare(const char* name, std::uint16_t port, bool open, int calls) {
    std::vector<double> library;
    std::vector<double> bare;
    std::vector<double> bareWithThread;
    int wrong = 0;
    for (int i = 0; i < calls; ++i) {
        library.push_back(Microseconds([&] { wrong += TestServicePort(port) != open; }));
        bare.push_back(Microseconds([&] { wrong += BareTest(port) != open; }));
        bareWithThread.push_back(Microseconds([&] { wrong += BareTestWithThread(port) != open; }));
    }
    const double time = Median(library);
    std::printf("%-6s  %6.0f us  %6.0f us (ratio %.2f)  %6.0f us (ratio %.2f)  %d\n", name, time,
                Median(bare), time / Median(bare), Median(bareWithThread),
                time / Median(bareWithThread), wrong);
}

}  // namespace

int main(int argc, char** argv) {
    const int calls = argc > 1 ? std::atoi(argv[1]) : 1000;
    WSADATA data{};
    if (::WSAStartup(MAKEWORD(2, 2), &data) != 0) return 1;

    // The socket stays bound, so that no other program listens there, and the port is not chosen
    // for the near end of a connection, which would then be connected with itself.
    const std::uint16_t closedPort = BindToSomePort(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    const Listener listener;

    std::printf("%d calls each, medians\n", calls);
    std::printf(
        "port    port test  bare                    bare and a thread       wrong answers\n");
    Compare("open", listener.Port(), true, calls);
    Compare("closed", closedPort, false, calls);
}
