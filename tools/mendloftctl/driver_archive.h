#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ctl {

// A file or folder in the driver archive that a library carries.
struct ArchiveItem {
    std::wstring path;  // inside the archive, with backslashes
    std::uint64_t size = 0;
    bool isFolder = false;
};

// What the driver archive of the DLL at `library` holds, in its order; nothing of the DLL is run
// and nothing is written. Empty when the file carries no archive that can be read.
[[nodiscard]] std::optional<std::vector<ArchiveItem>> ListDriverArchive(
    const std::wstring& library);

}  // namespace ctl
