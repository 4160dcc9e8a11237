#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "mendloftctl/driver_archive.h"
#include "mendloftctl/library_functions.h"

namespace ctl {

// What a plan is made from, besides the library's own tables and the content of the disk.
struct PlanFacts {
    DWORD majorVersion = 0;  // of Windows
    DWORD minorVersion = 0;
    std::wstring libraryFolder;       // without a backslash at its end
    std::wstring commonFilesFolder;   // the 32-bit one
    std::wstring temporaryDirectory;  // with a backslash at its end
    std::vector<ArchiveItem> archive;
};

// The actions that more than one plan has.
inline constexpr const char* kCreateFolder = "create folder";
inline constexpr const char* kDeleteFolder = "delete folder";
inline constexpr const char* kLookFor = "look for";

// One thing that a call would do.
struct Step {
    const char* action;  // such as kCreateFolder
    std::wstring what;   // the path or text that the action applies to
    std::wstring to;     // the destination of a copy; otherwise empty
    std::string note;    // a remark about this step; mostly empty
};

// What a call would do, in the order in which it would do it.
struct Plan {
    std::vector<Step> steps;
    std::optional<std::int32_t> code;  // what it would return; empty where that is not known
};

// The plan of calling `function` with `argument`, on the assumption that every step works. Reads
// the disk and changes nothing.
[[nodiscard]] Plan MakePlan(const LibraryFunction& function, std::int32_t argument,
                            const PlanFacts& facts);

// The plan of the same call with `--isolated`, whose temporary directory is `folder`.
[[nodiscard]] Plan WithPrivateFolder(Plan plan, const std::wstring& folder);

// The plan as numbered lines, and as the keys `steps` and `expected` of a document. `function` is
// the one whose result the plan foresees; null for a plan without a result.
[[nodiscard]] std::string ToText(const Plan& plan, const LibraryFunction* function);
[[nodiscard]] nlohmann::ordered_json ToJson(const Plan& plan, const LibraryFunction* function);

}  // namespace ctl
