#pragma once

#include <winsock.h>
#include <windows.h>

#include <atomic>
#include <cstdint>

namespace TELNET {

// A block of binary data to send. On the wire it is
//
//     CR LF <NxBlock=name> payload </NxBlock> CR LF
//
// without the blanks. The payload is sent unchanged. There is no length field and no escaping, so
// the receiver finds the end by the closing tag.
//
// The members keep this order: a release DLL has no symbols, so whoever reads a host's crash dump
// finds a member by its offset.
struct NxBlock {
    std::uint32_t clientId = 0;  // a server's client, or 0 for every client; clients ignore it
    const char* name = nullptr;  // ends with a zero byte
    const char* data = nullptr;
    std::uint32_t length = 0;  // of `data`, in bytes
};

enum class Payload {
    kInPieces,  // calls of at most 1,024 bytes each
    kWhole,     // one call
};

// Sends one block over `socket`: the header, the payload and the trailer. Each call reads `socket`
// anew: once another thread has closed it and stored INVALID_SOCKET, the rest is sent nowhere. The
// old number may belong to another connection of the process by then. The results of the calls are
// not reported. When several threads send over one socket, the caller locks each block.
void SendFramed(const std::atomic<SOCKET>& socket, const NxBlock& block, Payload payload);

}  // namespace TELNET
