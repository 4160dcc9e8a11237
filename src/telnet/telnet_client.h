#pragma once

#include "telnet/sockets.h"

#include <atomic>
#include <cstdint>

#include "telnet/telnet_interface.h"

namespace TELNET {

// A connection to a port of the loopback address. A receive thread reads what the peer sends and
// queues its lines. The destructor waits until that thread has ended, without limit.
//
// The virtual functions and the protected members keep this order, and tests hold it: a release DLL
// has no symbols, so whoever reads a host's crash dump finds a virtual function by its slot and a
// member by its offset.
class TelnetClient : public TelnetInterface {
public:
    // Starts Windows Sockets.
    TelnetClient();
    ~TelnetClient();

    // Closes an earlier connection and connects to 127.0.0.1, whatever `host` is. Returns true when
    // the TCP connection was made, even if its receive thread could not be started. Returns false
    // also when Close does. Takes as long as Windows takes to connect.
    bool Connect(const char* host, std::uint16_t port);

    // Closes the connection and waits until the receive thread has ended. Must not be called on
    // that thread. Returns false when Windows keeps refusing to wait. Then the client must not be
    // destroyed.
    bool Close();

    bool SendFormat(std::uint32_t clientId, const char* format, ...) override;
    bool SendBlock(const NxBlock* block) override;

    // Sends `length` bytes in one call. Always returns true.
    virtual bool SendRaw(const char* data, std::int32_t length);

protected:
    CriticalSection socketLock;  // guards `socket`; the sends read it without the lock
    std::atomic<SOCKET> socket = INVALID_SOCKET;
    UniqueHandle thread;      // the receive thread
    bool negotiated = false;  // a chunk began with a telnet command; only the first gets a reply

private:
    static DWORD WINAPI RunReceiveThread(void* client);

    void StartReceiveThread();
    void Receive();
    void Process(const char* chunk, int size);
    SOCKET CurrentSocket();
    void CloseIfStill(SOCKET ended);
};

}  // namespace TELNET
