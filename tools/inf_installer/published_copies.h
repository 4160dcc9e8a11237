#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "inf_installer/inf_file.h"

namespace installer {

// An INF file in Windows' own INF folder. Its copies are what Windows publishes of a package.
struct PublishedInf {
    std::wstring name;          // such as "oem3.inf"
    std::wstring originalName;  // the name it had before it was published
    std::string content;
};

// Whether `published` is the very file `given`: the same original name, where one is recorded, and
// the same bytes. Windows publishes an INF unchanged, because its catalog vouches for every byte,
// so anything that differs is another package or another version of it.
[[nodiscard]] bool IsPublishedCopyOf(const PublishedInf& published, const InfFile& given);

// The names of the published INF files that are `given`, in the order in which the system lists
// them.
[[nodiscard]] std::vector<std::wstring> FindPublishedCopies(const InfFile& given);

}  // namespace installer
