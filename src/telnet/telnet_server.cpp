#include "telnet/telnet_server.h"

#include <array>
#include <cstdarg>
#include <cstring>
#include <mutex>

#include "telnet/formatting.h"

namespace TELNET {

namespace {

constexpr std::uint32_t kEveryClient = 0;

}  // namespace

TelnetServer::~TelnetServer() {
    while (!Close()) {
    }
}

bool TelnetServer::Close() {
    return CloseAndWait(listenLock, listenSocket, thread);
}

template <typename Send>
bool TelnetServer::SendTo(std::uint32_t clientId, Send send) {
    const bool everyone = clientId == kEveryClient;
    const auto first = everyone ? clients.begin() : clients.find(clientId);
    if (first == clients.end()) return false;

    const auto last = everyone ? clients.end() : std::next(first);
    for (auto entry = first; entry != last; ++entry) {
        const std::lock_guard guard(entry->second->lock);
        send(entry->second->socket);
    }
    return true;
}

bool TelnetServer::SendFormat(std::uint32_t clientId, const char* format, ...) {
    std::array<char, 8192> text{};
    std::va_list arguments;
    va_start(arguments, format);
    (void)FormatBounded(text.data(), text.size() - 1, format, arguments);
    va_end(arguments);
    const int length = static_cast<int>(std::strlen(text.data()));
    return SendTo(clientId, [&](SOCKET client) { (void)::send(client, text.data(), length, 0); });
}

bool TelnetServer::SendBlock(const NxBlock* block) {
    // The payload of a broadcast goes to each client in one call, so nothing of it is sent twice.
    // The payload for one client goes in pieces: after a call that fails, one byte is sent again
    // (see SendInPieces). Without a failure, the bytes on the wire are the same.
    const Payload payload = block->clientId == kEveryClient ? Payload::kWhole : Payload::kInPieces;
    return SendTo(block->clientId, [&](SOCKET client) {
        // It does not change within a block: its owner closes it after the server is destroyed.
        const std::atomic<SOCKET> socket = client;
        SendFramed(socket, *block, payload);
    });
}

}  // namespace TELNET
