#pragma once

#include <winsock.h>
#include <windows.h>

#include <cstdint>

namespace TELNET {

// A block of binary data to send. On the wire it is
//
//     CR LF <NxBlock=name> payload </NxBlock> CR LF
//
// without the blanks. The payload goes out as it is: there is no length field and no escaping, so
// the receiver finds the end by the closing tag.
struct NxBlock {
    std::uint32_t clientId = 0;  // the client to send to; 0 is every client. For a server only
    const char* name = nullptr;  // ends with a zero byte
    const char* data = nullptr;
    std::uint32_t length = 0;  // of `data`, in bytes
};

enum class Payload {
    kInPieces,  // calls of at most 1,024 bytes each
    kWhole,     // one call
};

// Sends one block over `socket`: the header, the payload and the trailer. The results of the calls
// are not reported. The caller keeps blocks apart that several threads send over one socket.
void SendFramed(SOCKET socket, const NxBlock& block, Payload payload);

}  // namespace TELNET
