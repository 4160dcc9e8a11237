#pragma once

#include "telnet/telnet_client.h"
#include "telnet/telnet_server.h"

#include <array>
#include <cstdint>

#include "telnet/line_tokenizer.h"
#include "telnet/telnet.h"

namespace TELNET {

// A client endpoint. The constructor connects to a port of the loopback address, and the destructor
// ends the connection. The endpoint does not connect again. When Windows refuses to wait for the
// client's thread, the client outlives the endpoint.
//
// A derived class may set `isServer` and `server` to make the endpoint a server. The members keep
// this order, and a test holds it: a release DLL has no symbols, so whoever reads a host's crash
// dump finds a member by its offset.
class MyTelnet : public Telnet {
public:
    // Connects a client, whatever `serverMode` is: nothing in this library accepts the clients of a
    // server. Only the low 16 bits of `port` count. `reserved` is not used.
    MyTelnet(bool serverMode, std::int32_t port, std::int32_t reserved);
    MyTelnet(const MyTelnet&) = delete;
    MyTelnet& operator=(const MyTelnet&) = delete;
    ~MyTelnet() override;

    // Whether the constructor made a connection. It may have ended since then.
    [[nodiscard]] bool IsReady() const { return ready; }

    bool IsServer() override;
    bool IsConnected() override;
    bool Send(std::uint32_t clientId, const char* format, ...) override;
    const char* Receive(std::int32_t* tag) override;
    char** ParseLine(const char* text, std::int32_t* count) override;

protected:
    bool isServer = false;
    bool connected = false;
    TelnetInterface* active = nullptr;  // `client` or `server`, once connected
    UniqueConnection<TelnetClient> client;
    UniqueConnection<TelnetServer> server;
    bool ready = false;
    std::array<char, 2048> line{};  // the text that ParseLine divides
    LineTokenizer tokenizer;
};

}  // namespace TELNET
