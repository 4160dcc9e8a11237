#include "telnet/port_probe.h"

#include <memory>
#include <new>

#include "telnet/my_telnet.h"

bool TestServicePort(std::int32_t port) try {
    const auto endpoint = std::make_unique<TELNET::MyTelnet>(false, port, 0);
    if (!endpoint->IsReady()) return false;
    // Never false here, because a connection without a reader counts too. Destroying the endpoint
    // hangs up and waits for the reader.
    return endpoint->IsConnected();
} catch (const std::bad_alloc&) {
    // Nothing was tested, and nothing may be thrown at the host.
    return false;
}
