#pragma once

#include <cstdint>

namespace SevenZip {

// What happens to a file that is already there when an item is to be written.
enum class OverwriteMode : std::uint32_t {
    kDelete = 1,     // it is deleted
    kSkip = 2,       // it stays, and the item is left out
    kRenameNew = 3,  // it stays, and the item is written under a fresh name
    kRenameOld = 4,  // it gets a fresh name
    kRollBack = 5,   // it gets a fresh name, and its own back as soon as an item turns out damaged
};

}  // namespace SevenZip
