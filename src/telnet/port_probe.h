#pragma once

#include <cstdint>

// Whether something accepts TCP connections at port `port` (its low 16 bits) of 127.0.0.1. Connects
// and disconnects. Sends nothing and discards what the service sends. Returns false also when there
// is no socket or no memory. Blocks for as long as Windows takes to connect. May be called from
// several threads at once.
[[nodiscard]] bool TestServicePort(std::int32_t port);
