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

// One received line. The members keep this order: a release DLL has no symbols, so whoever reads a
// host's crash dump finds a member by its offset.
struct Message {
    CHeapText text;  // the line's bytes and a zero byte
    std::int32_t tag = 0;
};

// What client and server connections have in common: the queue of received lines, and the sends.
//
// There is no virtual destructor, so an owner holds a connection by its exact type (see
// DeleteExactly). The owner's thread sends and pops. Any thread may push.
//
// The virtual functions and the protected members keep this order, and tests hold it: a release DLL
// has no symbols, so whoever reads a host's crash dump finds a virtual function by its slot and a
// member by its offset.
class TelnetInterface {
public:
    TelnetInterface();
    TelnetInterface(const TelnetInterface&) = delete;
    TelnetInterface& operator=(const TelnetInterface&) = delete;

    // Called after a connection is made, with a `reserved` of 0. Does nothing in this class.
    // Derived connections may replace it.
    virtual void OnConnect(std::int32_t reserved);

    // Sends formatted text. A server sends it to its client `clientId`, or to every client when
    // that is 0, and returns whether there is such a client. A client connection ignores `clientId`
    // and returns true. Text of more than 8,191 characters is cut. A send that fails is not
    // reported. The format is that of the Windows C runtime.
    virtual bool SendFormat(std::uint32_t clientId, const char* format, ...) = 0;

    // Sends a block in the frame that NxBlock describes. The result is that of SendFormat.
    virtual bool SendBlock(const NxBlock* block) = 0;

    // Appends a copy of `length` bytes to the queue. Does nothing when `length` is 0 or less.
    // Without memory the line is lost.
    void PushMessage(const char* data, std::int32_t length, std::int32_t tag);

    // Removes the oldest line from the queue, stores its tag in `tag` and returns its text. The
    // object owns the text, which is valid until the next line is removed. When there is no line,
    // returns null and changes neither `tag` nor the text that was returned before.
    const char* PopMessage(std::int32_t* tag);

protected:
    ~TelnetInterface();

    CriticalSection queueLock;                      // guards `messages` and `lastText`
    std::deque<std::unique_ptr<Message>> messages;  // oldest first
    CHeapText lastText;                             // of the message that was removed last

    // `spareLock` guards nothing, and `spareQueue` is always empty. Without them, the members after
    // them and those of derived connections would move.
    CriticalSection spareLock;
    CriticalSection holdLock;  // held by the constructing thread until destruction
    std::deque<std::uint32_t> spareQueue;
};

// Deletes a connection as the type by which it is held. When its thread may still run, the
// connection stays allocated instead, because the thread uses it.
template <typename Connection>
struct DeleteExactly {
    void operator()(Connection* connection) const {
        if (!connection->Close()) return;
        connection->Connection::~Connection();
        ::operator delete(connection);
    }
};
template <typename Connection>
using UniqueConnection = std::unique_ptr<Connection, DeleteExactly<Connection>>;

}  // namespace TELNET
