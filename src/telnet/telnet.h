#pragma once

#include <cstdint>

namespace TELNET {

// An endpoint of a line-oriented TCP connection, in client or server mode.
class Telnet {
public:
    [[nodiscard]] virtual bool IsServer() = 0;
    [[nodiscard]] virtual bool IsConnected() = 0;

    // Sends formatted text to a client of a server (0 is every client; a client endpoint ignores
    // the number). Text of more than 2,047 characters is cut. Returns false when there is no
    // connection or no such client; that sending failed is not reported.
    virtual bool Send(std::uint32_t clientId, const char* format, ...) = 0;

    // Takes the oldest received line and stores its tag through `tag`. The text is valid until the
    // next call. Returns null, with a tag of 0, when there is none.
    virtual const char* Receive(std::int32_t* tag) = 0;

    // Cuts the first 2,047 characters of `text` into tokens (see LineTokenizer) and stores their
    // number through `count`. Returns the process-wide array of them, or null when there is none.
    virtual char** ParseLine(const char* text, std::int32_t* count) = 0;

    virtual ~Telnet() = default;
};

// The endpoint that answers telnet option commands. Nothing here sets it: that is for the program
// around the library, before any connection is made, since it is read without a lock.
inline Telnet* g_currentTelnet = nullptr;

}  // namespace TELNET
