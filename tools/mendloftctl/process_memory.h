#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace ctl {

// Copies the memory at `address` in `process` to `bytes`, up to the first page that cannot be read.
// Returns how many bytes were copied. Allocates nothing, so it can be used when memory has run out.
[[nodiscard]] std::size_t ReadMemory(HANDLE process, std::uintptr_t address,
                                     std::span<std::byte> bytes);

}  // namespace ctl
