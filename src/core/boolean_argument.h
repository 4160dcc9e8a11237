#pragma once

#include <cstdint>

// Hosts pass booleans in a 32-bit slot of which only the low byte is theirs to set: 0x100 is false.
[[nodiscard]] constexpr bool IsTrue(std::int32_t argument) {
    return (argument & 0xFF) != 0;
}
