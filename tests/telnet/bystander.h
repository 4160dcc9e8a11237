#pragma once

#include <winsock.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "telnet/fake_sockets.h"
#include "telnet/loopback.h"

// Connections of this process that have nothing to do with the library, but whose numbers the
// library has used before.

// While it lives, the calls of its thread are a bystander's. Fakes pass them on to Windows. One
// thread at a time.
class AsBystander {
public:
    AsBystander() { caller_ = ::GetCurrentThreadId(); }
    AsBystander(const AsBystander&) = delete;
    AsBystander& operator=(const AsBystander&) = delete;
    ~AsBystander() { caller_ = 0; }

    [[nodiscard]] static bool Calls() { return caller_ == ::GetCurrentThreadId(); }

private:
    static inline std::atomic<DWORD> caller_ = 0;
};

// A real connection with both ends in this process. Text is under way in both directions until a
// test asks for the damage.
class Bystander {
public:
    Bystander() { SendBothWays("first, "); }
    Bystander(const Bystander&) = delete;
    Bystander& operator=(const Bystander&) = delete;
    ~Bystander() {
        const AsBystander bystander;
        sockets_.reset();
    }

    // The number of one of its two sockets.
    [[nodiscard]] SOCKET Number() const { return sockets_->here.Get(); }

    // Ends the connection. Returns what its ends received; empty when every byte arrived and no
    // other.
    [[nodiscard]] std::string Damage() {
        SendBothWays("last");
        const std::string whole = "first, last";
        const std::string there = Rest(sockets_->here, sockets_->there);
        const std::string here = Rest(sockets_->there, sockets_->here);
        return there == whole && here == whole ? "" : "'" + there + "' and '" + here + "'";
    }

private:
    static std::unique_ptr<SocketPair> Connected() {
        const AsBystander bystander;
        return std::make_unique<SocketPair>();
    }

    void SendBothWays(const std::string& text) {
        const AsBystander bystander;
        SendText(sockets_->here, text);
        SendText(sockets_->there, text);
    }

    static std::string Rest(const UniqueSocket& from, const UniqueSocket& to) {
        const AsBystander bystander;
        constexpr int noMoreSends = 1;
        (void)::shutdown(from.Get(), noMoreSends);
        return ReceiveAll(to);
    }

    std::unique_ptr<SocketPair> sockets_ = Connected();
};

// What the peer of a connection of the library does. The library asks for it by the port.
enum class Peer : std::uint16_t { kRefuses = 1, kHangsUp, kGreets, kWaits };

// Gives the numbers of bystanders to the library's sockets, each once. As long as the library has a
// socket open, its calls are answered here. Once the library has closed it, the number is only the
// bystander's, as if Windows had given it to a new connection at once. What the library does with
// that number then reaches the bystander.
//
// One exception: a thread may have read the number before another one closed the socket. So the
// first late send and the first late recv of each number are only counted.
class BorrowedNumbers {
public:
    explicit BorrowedNumbers(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) sockets_.push_back(std::make_unique<Socket>());
    }

    // The peers of all open connections hang up.
    void HangUp() {
        const std::lock_guard guard(mutex_);
        for (const auto& socket : sockets_) socket->hungUp = socket->state == State::kOpen;
        changed_.notify_all();
    }

    void WaitUntilTheLibraryReceives() {
        std::unique_lock guard(mutex_);
        changed_.wait(guard, [this] { return receives_ > 0; });
    }

    // How often the library has used a number after it closed the socket.
    [[nodiscard]] int LateCalls() {
        const std::lock_guard guard(mutex_);
        int calls = 0;
        for (const auto& socket : sockets_) calls += socket->lateSends + socket->lateReceives;
        return calls;
    }

    // What happened to the bystanders: empty when all are intact. The library has no socket open.
    [[nodiscard]] std::string Damage() {
        std::string damage;
        for (const auto& socket : sockets_) {
            if (socket->state == State::kOpen) damage += "a socket is still open; ";
            damage += socket->owner.Damage();
        }
        return damage;
    }

private:
    enum class State { kUnused, kOpen, kClosed };

    struct Socket {
        Bystander owner;
        State state = State::kUnused;
        Peer peer = Peer::kRefuses;
        bool greeted = false;
        bool hungUp = false;
        int lateSends = 0;
        int lateReceives = 0;
    };

    // Null when the library has never had that number. The caller holds the mutex.
    Socket* Find(SOCKET number) {
        if (AsBystander::Calls()) return nullptr;
        const auto found = std::find_if(sockets_.begin(), sockets_.end(), [&](const auto& socket) {
            return socket->state != State::kUnused && socket->owner.Number() == number;
        });
        return found == sockets_.end() ? nullptr : found->get();
    }

    SOCKET OnSocket(int family, int type, int protocol) {
        if (AsBystander::Calls()) return socket_.Real(family, type, protocol);
        const std::lock_guard guard(mutex_);
        const auto unused = std::find_if(sockets_.begin(), sockets_.end(), [](const auto& socket) {
            return socket->state == State::kUnused;
        });
        if (unused == sockets_.end()) return INVALID_SOCKET;
        (*unused)->state = State::kOpen;
        return (*unused)->owner.Number();
    }

    int OnConnect(SOCKET number, const sockaddr* address, int size) {
        std::unique_lock guard(mutex_);
        Socket* const socket = Find(number);
        if (socket == nullptr) {
            guard.unlock();
            return connect_.Real(number, address, size);
        }
        const auto* const internet = reinterpret_cast<const sockaddr_in*>(address);
        socket->peer = static_cast<Peer>(::ntohs(internet->sin_port));
        return socket->peer == Peer::kRefuses ? SOCKET_ERROR : 0;
    }

    int OnReceive(SOCKET number, char* buffer, int length, int flags) {
        std::unique_lock guard(mutex_);
        Socket* const socket = Find(number);
        if (socket == nullptr || (socket->state == State::kClosed && ++socket->lateReceives > 1)) {
            guard.unlock();
            return receive_.Real(number, buffer, length, flags);
        }
        ++receives_;
        changed_.notify_all();
        if (socket->peer == Peer::kGreets && !std::exchange(socket->greeted, true)) {
            const std::string greeting = "220 welcome\r\n";
            return static_cast<int>(greeting.copy(buffer, static_cast<std::size_t>(length)));
        }
        changed_.wait(guard, [&] {
            return socket->peer == Peer::kHangsUp || socket->hungUp ||
                   socket->state == State::kClosed;
        });
        return socket->state == State::kClosed ? SOCKET_ERROR : 0;
    }

    int OnSend(SOCKET number, const char* data, int length, int flags) {
        {
            const std::lock_guard guard(mutex_);
            Socket* const socket = Find(number);
            const bool isOpen = socket != nullptr && socket->state == State::kOpen;
            if (isOpen && !socket->hungUp) return length;
            if (isOpen || (socket != nullptr && ++socket->lateSends == 1)) return SOCKET_ERROR;
        }
        return send_.Real(number, data, length, flags);
    }

    int OnClose(SOCKET number) {
        {
            const std::lock_guard guard(mutex_);
            Socket* const socket = Find(number);
            if (socket != nullptr && socket->state == State::kOpen) {
                socket->state = State::kClosed;
                changed_.notify_all();
                return 0;
            }
        }
        return close_.Real(number);
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::unique_ptr<Socket>> sockets_;
    int receives_ = 0;
    FakeSocket socket_{[this](auto... arguments) { return OnSocket(arguments...); }};
    FakeConnect connect_{[this](auto... arguments) { return OnConnect(arguments...); }};
    FakeRecv receive_{[this](auto... arguments) { return OnReceive(arguments...); }};
    FakeSend send_{[this](auto... arguments) { return OnSend(arguments...); }};
    FakeCloseSocket close_{[this](SOCKET number) { return OnClose(number); }};
};
