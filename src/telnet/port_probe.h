#pragma once

#include <cstdint>

// Whether something accepts TCP connections on port `port` (its low 16 bits) of 127.0.0.1. Connects
// and hangs up again; nothing is sent, and what the service sends is thrown away. Blocks for as
// long as the system's own connect takes. May be called from several threads at a time.
[[nodiscard]] bool TestServicePort(std::int32_t port);
