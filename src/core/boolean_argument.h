#pragma once

#include <cstdint>

// The value of a boolean argument of an export. It arrives in a 32-bit slot, of which a host that
// passes a `bool` sets only the low byte. The other bytes do not count: 0x100 is false.
[[nodiscard]] constexpr bool IsTrue(std::int32_t argument) {
    return (argument & 0xFF) != 0;
}
