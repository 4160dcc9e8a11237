#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ctl {

// A file or folder in the driver archive that a library contains.
struct ArchiveItem {
    std::wstring path;  // inside the archive, with backslashes
    std::uint64_t size = 0;
    bool isFolder = false;
};

// The content of the driver archive in the DLL at `library`, in the order of the archive. No code
// of the DLL runs and nothing is written. Empty when the file does not exist, or contains no
// archive that can be read.
[[nodiscard]] std::optional<std::vector<ArchiveItem>> ListDriverArchive(
    const std::wstring& library);

}  // namespace ctl
