#pragma once

#include "telnet/sockets.h"

#include <atomic>
#include <cstdint>
#include <map>

#include "telnet/telnet_interface.h"

namespace TELNET {

// One connected client of a server. The side that accepts clients makes it, owns it, and enters it
// under a number of its own other than 0.
struct ClientRecord {
    explicit ClientRecord(SOCKET accepted = INVALID_SOCKET) : socket(accepted) {}

    CriticalSection lock;  // held for a whole send, so that blocks never mingle
    SOCKET socket;         // closed by its owner, after the server is gone
};

// The sending half of a server. Nothing here listens or accepts; a derived class that does fills
// `listenSocket`, `thread` and `clients`.
class TelnetServer : public TelnetInterface {
public:
    ~TelnetServer();

    // Closes the listening socket and waits for the accepting thread. Not to be called on it.
    void Close();

    bool SendFormat(std::uint32_t clientId, const char* format, ...) override;
    bool SendBlock(const NxBlock* block) override;

protected:
    CriticalSection listenLock;  // guards `listenSocket`
    std::atomic<SOCKET> listenSocket = INVALID_SOCKET;
    UniqueHandle thread;
    std::map<std::uint32_t, ClientRecord*> clients;  // by number; the records are not the server's

private:
    // Calls `send(socket)` under its record's lock for the client of that number, or for every
    // client in ascending order when `clientId` is 0. Returns whether there was one.
    template <typename Send>
    bool SendTo(std::uint32_t clientId, Send send);
};

}  // namespace TELNET
