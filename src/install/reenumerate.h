#pragma once

#include <cstdint>

// Asks Windows to enumerate the whole device tree again, so that devices that are plugged in
// already meet the drivers that were just installed or removed. Returns 1 when the request was
// made, and 0 with a line on standard output when it was refused. May be called from any thread.
std::int32_t ReenumerateDevices();
