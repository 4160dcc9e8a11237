#pragma once

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <memory>

#include "telnet/critical_section.h"
#include "telnet/nx_block.h"

namespace TELNET {

struct FreeOnCHeap {
    void operator()(char* memory) const { std::free(memory); }
};
using CHeapText = std::unique_ptr<char, FreeOnCHeap>;

// One received line.
struct Message {
    CHeapText text;  // the line's bytes and a zero byte
    std::int32_t tag = 0;
};

// What a client and a server connection have in common: the queue of received lines, and the sends.
//
// There is no virtual destructor: whoever owns a connection holds it by its exact type (see
// DeleteExactly). Sending and popping belong to the owner's thread; pushing to any other.
class TelnetInterface {
public:
    TelnetInterface();
    TelnetInterface(const TelnetInterface&) = delete;
    TelnetInterface& operator=(const TelnetInterface&) = delete;

    // For derived connections to act on a new connection; `reserved` is 0. Does nothing here.
    virtual void OnConnect(std::int32_t reserved);

    // Sends formatted text to a client of a server, or to every client when `clientId` is 0; a
    // client connection ignores `clientId`. Text of more than 8,191 characters is cut. Returns
    // whether there was anybody to send to; that sending failed is not reported. The format is the
    // Windows C runtime's.
    virtual bool SendFormat(std::uint32_t clientId, const char* format, ...) = 0;

    // Sends a block, framed as NxBlock says. Returns what SendFormat does.
    virtual bool SendBlock(const NxBlock* block) = 0;

    // Appends a copy of `length` bytes to the queue; nothing when `length` is 0 or less. When
    // memory is short the line is lost.
    void PushMessage(const char* data, std::int32_t length, std::int32_t tag);

    // Takes the oldest line off the queue, stores its tag through `tag`, and returns its text,
    // which stays the object's and valid until the next line is taken. Returns null, leaving `tag`
    // and the text before alone, when there is no line.
    const char* PopMessage(std::int32_t* tag);

protected:
    ~TelnetInterface();

    CriticalSection queueLock;                      // guards `messages` and `lastText`
    std::deque<std::unique_ptr<Message>> messages;  // oldest first
    CHeapText lastText;                             // of the message that was taken last
    CriticalSection spareLock;                      // guards nothing
    CriticalSection holdLock;                       // held by the constructing thread, for life
    std::deque<std::uint32_t> spareQueue;           // always empty
};

// Deletes a connection as the very type it is held by.
template <typename Connection>
struct DeleteExactly {
    void operator()(Connection* connection) const {
        connection->Connection::~Connection();
        ::operator delete(connection);
    }
};
template <typename Connection>
using UniqueConnection = std::unique_ptr<Connection, DeleteExactly<Connection>>;

}  // namespace TELNET
