#pragma once

#include <cstdint>

namespace TELNET {

// An endpoint of a line-oriented TCP connection, in client or server mode.
//
// The functions keep this order, and a test holds it: a release DLL has no symbols, so whoever
// reads a host's crash dump finds a virtual function by its slot.
class Telnet {
public:
    [[nodiscard]] virtual bool IsServer() = 0;

    // Whether the endpoint has made a connection. The connection may have ended since then.
    [[nodiscard]] virtual bool IsConnected() = 0;

    // Sends formatted text to a client of a server. Client 0 is every client, and a client endpoint
    // ignores the number. Text of more than 2,047 characters is cut. Returns false when no
    // connection was made or there is no such client. A send that fails is not reported.
    virtual bool Send(std::uint32_t clientId, const char* format, ...) = 0;

    // Removes the oldest received line from the queue and stores its tag in `tag`. The text is
    // valid until the next line is removed. Returns null and stores 0 when there is no line.
    virtual const char* Receive(std::int32_t* tag) = 0;

    // Divides the first 2,047 characters of `text` into tokens (see LineTokenizer) and stores their
    // number in `count`. Returns the array of the process's tokens, or null when there is no token.
    virtual char** ParseLine(const char* text, std::int32_t* count) = 0;

    virtual ~Telnet() = default;
};

// The endpoint that answers telnet option commands. Nothing in this library sets it: a program that
// contains the library may, before it makes a connection, because it is read without a lock.
inline Telnet* g_currentTelnet = nullptr;

}  // namespace TELNET
