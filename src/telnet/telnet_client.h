#pragma once

#include "telnet/sockets.h"

#include <atomic>
#include <cstdint>

#include "telnet/telnet_interface.h"

namespace TELNET {

// A connection to a port of the loopback address. A thread of its own reads what the peer sends and
// queues it by lines; destruction ends that thread.
class TelnetClient : public TelnetInterface {
public:
    // Starts Windows Sockets.
    TelnetClient();
    ~TelnetClient();

    // Closes what was connected before and connects to 127.0.0.1, whatever `host` says. Returns
    // whether the TCP connection was made. Takes as long as the system's own connect.
    bool Connect(const char* host, std::uint16_t port);

    // Closes the connection and waits for the receive thread. Not to be called on it.
    void Close();

    bool SendFormat(std::uint32_t clientId, const char* format, ...) override;
    bool SendBlock(const NxBlock* block) override;

    // Sends `length` bytes in one call. Always true.
    virtual bool SendRaw(const char* data, std::int32_t length);

protected:
    CriticalSection socketLock;  // guards `socket`, but for the sends, which just read it
    std::atomic<SOCKET> socket = INVALID_SOCKET;
    UniqueHandle thread;      // the receive thread
    bool negotiated = false;  // a chunk began with a telnet command; only the first is answered

private:
    static DWORD WINAPI RunReceiveThread(void* client);

    void StartReceiveThread();
    void Receive();
    void Process(const char* chunk, int size);
    SOCKET CurrentSocket();
    void CloseIfStill(SOCKET ended);
};

}  // namespace TELNET
