#pragma once

#include <cstdint>

// Asks Windows to rescan devices, from the root of the device tree, so that devices that are
// already plugged in get or lose the drivers that were just installed or removed. Returns 1 when
// Windows accepted the request. Otherwise writes one line with the code of the configuration
// manager to standard output and returns 0. May be called from any thread.
std::int32_t ReenumerateDevices();
