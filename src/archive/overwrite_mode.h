#pragma once

#include <cstdint>

namespace SevenZip {

// What happens to an existing file when an item is to be written to its path. A new name is one
// that no file has (see MakeUniquePath).
//
// kRollBack undoes everything when an item is damaged, and only then: an extraction that ends
// because a file cannot be created leaves the new files and the renamed old ones.
enum class OverwriteMode : std::uint32_t {
    kDelete = 1,     // the file is deleted
    kSkip = 2,       // the file stays, and the item is not written
    kRenameNew = 3,  // the file stays, and the item is written under a new name
    kRenameOld = 4,  // the file gets a new name
    kRollBack = 5,   // the file gets a new name, and its old one again when any item is damaged
};

}  // namespace SevenZip
