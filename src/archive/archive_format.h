#pragma once

#include <cstdint>

namespace SevenZip {

// The archive formats that can be chosen. Any other number is opened as 7z.
enum class ArchiveFormat : std::uint32_t {
    kUnknown = 0,  // after a detection that found no format
    k7z = 1,
    kZip = 2,
    kCab = 8,
    kLzma = 9,
    kLzma86 = 10,
};

}  // namespace SevenZip
