#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "inf_installer/inf_file.h"

namespace installer {

// An INF file in the INF folder of Windows.
struct PublishedInf {
    std::wstring name;          // such as "oem3.inf"
    std::wstring originalName;  // the name that it had before it was published; `name` where
                                // Windows has recorded none
    std::string content;        // every byte of the file
};

// Whether `published` is a copy of `given`: it has the same original name, where one is recorded,
// and the same bytes. Windows publishes an INF file unchanged, because the signed catalog covers
// every byte of it. A file that differs belongs to another package or another version.
[[nodiscard]] bool IsPublishedCopyOf(const PublishedInf& published, const InfFile& given);

// The names of the published INF files that are copies of `given`, in the order in which the system
// lists them. Empty also when the INF folder cannot be listed.
[[nodiscard]] std::vector<std::wstring> FindPublishedCopies(const InfFile& given);

}  // namespace installer
