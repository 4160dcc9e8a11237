#pragma once

#include <winsock.h>
#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/fake_api.h"

// Stand-ins for single calls of Windows Sockets.

using FakeSend = FakeApi<"send", decltype(::send)>;
using FakeRecv = FakeApi<"recv", decltype(::recv)>;
using FakeSocket = FakeApi<"socket", decltype(::socket)>;
using FakeConnect = FakeApi<"connect", decltype(::connect)>;
using FakeCloseSocket = FakeApi<"closesocket", decltype(::closesocket)>;
using FakeCreateThread = FakeApi<"CreateThread", decltype(::CreateThread)>;
using FakeStartup = FakeApi<"WSAStartup", decltype(::WSAStartup)>;

// Records every send instead of sending. Each call returns the next of `results`, or the whole
// length when none is left.
class RecordedSends {
public:
    struct Call {
        SOCKET socket;
        std::string bytes;
        int length;
        int flags;
        const char* data;
    };

    std::vector<Call> calls;
    std::vector<int> results;
    // Called with the index of each call, during that call.
    std::function<void(std::size_t)> during = [](std::size_t) {};

    // The bytes of all calls, one after the other.
    [[nodiscard]] std::string Wire() const {
        std::string wire;
        for (const Call& call : calls) wire += call.bytes;
        return wire;
    }

    [[nodiscard]] std::vector<int> Lengths() const {
        std::vector<int> lengths;
        for (const Call& call : calls) lengths.push_back(call.length);
        return lengths;
    }

    [[nodiscard]] std::vector<SOCKET> Sockets() const {
        std::vector<SOCKET> sockets;
        for (const Call& call : calls) sockets.push_back(call.socket);
        return sockets;
    }

private:
    int Send(SOCKET socket, const char* data, int length, int flags) {
        const std::string bytes(data, static_cast<std::size_t>(std::max(length, 0)));
        calls.push_back({socket, bytes, length, flags, data});
        const std::size_t index = calls.size() - 1;
        during(index);
        return index < results.size() ? results[index] : length;
    }

    FakeSend send_{[this](SOCKET socket, const char* data, int length, int flags) {
        return Send(socket, data, length, flags);
    }};
};

// Hands these chunks to the receive thread, one per call, and then ends the connection.
class ScriptedRecv {
public:
    explicit ScriptedRecv(std::vector<std::string> chunks) : chunks_(std::move(chunks)) {}

    struct Call {
        SOCKET socket;
        int length;
        int flags;
    };
    std::vector<Call> calls;

private:
    int Receive(SOCKET socket, char* buffer, int length, int flags) {
        calls.push_back({socket, length, flags});
        if (next_ == chunks_.size()) return 0;
        const std::string& chunk = chunks_[next_++];
        return static_cast<int>(chunk.copy(buffer, static_cast<std::size_t>(length)));
    }

    std::vector<std::string> chunks_;
    std::size_t next_ = 0;
    FakeRecv recv_{[this](SOCKET socket, char* buffer, int length, int flags) {
        return Receive(socket, buffer, length, flags);
    }};
};

// Closes sockets as usual and counts how often each one was closed.
class CountedCloses {
public:
    [[nodiscard]] std::ptrdiff_t Of(SOCKET socket) {
        const std::lock_guard guard(mutex_);
        return std::count(closed_.begin(), closed_.end(), socket);
    }

private:
    std::mutex mutex_;
    std::vector<SOCKET> closed_;
    FakeCloseSocket close_{[this](SOCKET socket) {
        {
            const std::lock_guard guard(mutex_);
            closed_.push_back(socket);
        }
        return close_.Real(socket);
    }};
};
