#pragma once

#include "telnet/sockets.h"

#include <atomic>
#include <cstdint>
#include <map>

#include "telnet/telnet_interface.h"

namespace TELNET {

// One connected client of a server. The derived class that accepts clients creates and owns the
// record, and inserts it under a unique number other than 0.
struct ClientRecord {
    explicit ClientRecord(SOCKET accepted = INVALID_SOCKET) : socket(accepted) {}

    CriticalSection lock;  // held for a whole send, so that two blocks are never mixed
    SOCKET socket;         // the owner closes it after the server is destroyed
};

// The sending half of a server. Nothing here listens or accepts. A derived class that does sets
// `listenSocket`, `thread` and `clients`.
//
// The virtual functions and the protected members keep this order, and tests hold it: a release DLL
// has no symbols, so whoever reads a host's crash dump finds a virtual function by its slot and a
// member by its offset.
class TelnetServer : public TelnetInterface {
public:
    // Waits until the accepting thread has ended, without limit.
    ~TelnetServer();

    // Closes the listening socket and waits until the accepting thread has ended. Must not be
    // called on that thread. Returns false when Windows keeps refusing to wait. Then the server
    // must not be destroyed.
    bool Close();

    bool SendFormat(std::uint32_t clientId, const char* format, ...) override;
    bool SendBlock(const NxBlock* block) override;

protected:
    CriticalSection listenLock;  // guards `listenSocket`
    std::atomic<SOCKET> listenSocket = INVALID_SOCKET;
    UniqueHandle thread;
    std::map<std::uint32_t, ClientRecord*> clients;  // by number; the server does not own them

private:
    // Calls `send(socket)` for the client `clientId`, or for every client in ascending order when
    // that is 0, each time under the client's lock. Returns whether there is such a client.
    template <typename Send>
    bool SendTo(std::uint32_t clientId, Send send);
};

}  // namespace TELNET
