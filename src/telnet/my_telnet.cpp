#include "telnet/my_telnet.h"

#include <cstdarg>
#include <cstring>

#include "telnet/formatting.h"

namespace TELNET {

MyTelnet::MyTelnet(bool /*serverMode*/, std::int32_t port, std::int32_t /*reserved*/) {
    client.reset(new TelnetClient{});
    connected = client->Connect(nullptr, static_cast<std::uint16_t>(port));
    if (connected) {
        active = client.get();
    } else {
        client.reset();
    }
    ready = connected;
}

MyTelnet::~MyTelnet() {
    if (isServer) {
        server.reset();
    } else {
        client.reset();
    }
}

bool MyTelnet::IsServer() {
    return isServer;
}

bool MyTelnet::IsConnected() {
    return connected;
}

bool MyTelnet::Send(std::uint32_t clientId, const char* format, ...) {
    if (active == nullptr) return false;
    std::array<char, 2048> text{};
    std::va_list arguments;
    va_start(arguments, format);
    (void)FormatBounded(text.data(), text.size() - 1, format, arguments);
    va_end(arguments);
    return active->SendFormat(clientId, "%s", text.data());
}

const char* MyTelnet::Receive(std::int32_t* tag) {
    *tag = 0;
    return active == nullptr ? nullptr : active->PopMessage(tag);
}

char** MyTelnet::ParseLine(const char* text, std::int32_t* count) {
    (void)std::strncpy(line.data(), text, line.size() - 1);
    line.back() = '\0';
    return tokenizer.Parse(line.data(), count);
}

}  // namespace TELNET
