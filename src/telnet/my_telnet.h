#pragma once

#include "telnet/telnet_client.h"
#include "telnet/telnet_server.h"

#include <array>
#include <cstdint>

#include "telnet/line_tokenizer.h"
#include "telnet/telnet.h"

namespace TELNET {

// A client endpoint: connects to a port of the loopback address while it is made, and ends the
// connection when it is destroyed. It never connects again.
class MyTelnet : public Telnet {
public:
    // Always makes a client, whatever `serverMode` says. Only the low 16 bits of `port` count.
    MyTelnet(bool serverMode, std::int32_t port, std::int32_t reserved);
    MyTelnet(const MyTelnet&) = delete;
    MyTelnet& operator=(const MyTelnet&) = delete;
    ~MyTelnet() override;

    // Whether a connection was made. It may have ended since.
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
    std::array<char, 2048> line{};  // what ParseLine cuts up
    LineTokenizer tokenizer;
};

}  // namespace TELNET
