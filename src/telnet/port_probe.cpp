#include "telnet/port_probe.h"

#include <memory>
#include <new>

#include "telnet/my_telnet.h"

bool TestServicePort(std::int32_t port) try {
    const auto endpoint = std::make_unique<TELNET::MyTelnet>(false, port, 0);
    if (!endpoint->IsReady()) return false;
    // Always true here: a connection without a receive thread counts as well. Destroying the
    // endpoint closes the connection and waits for that thread. If Windows refuses to wait, the
    // client stays allocated for that thread, and the answer is the same.
    return endpoint->IsConnected();
} catch (const std::bad_alloc&) {
    // Without memory, nothing was tested. An exception would end the host's process.
    return false;
}
