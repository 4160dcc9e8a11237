#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "mendloftctl/driver_archive.h"
#include "mendloftctl/library_functions.h"

namespace ctl {

// What a plan is made from, beside the library's own tables and what lies on the disk.
struct PlanFacts {
    DWORD majorVersion = 0;  // of Windows
    DWORD minorVersion = 0;
    std::wstring libraryFolder;  // without a backslash at its end
    std::wstring commonFilesFolder;
    std::wstring temporaryDirectory;  // with a backslash at its end
    std::vector<ArchiveItem> archive;
};

struct Step {
    const char* action;  // such as "create folder"
    std::wstring what;
    std::wstring to;   // of a copy: where to
    std::string note;  // about this very step; mostly empty
};

// What a call would do, in its order.
struct Plan {
    std::vector<Step> steps;
    std::optional<std::int32_t> code;  // what it would return, as far as that can be foreseen
};

[[nodiscard]] Plan MakePlan(const LibraryFunction& function, std::int32_t argument,
                            const PlanFacts& facts);

// The plan of the same call with `--isolated`, whose temporary directory is `folder`.
[[nodiscard]] Plan WithPrivateFolder(Plan plan, const std::wstring& folder);

// `function` is what the plan's code is a result of; null for a plan without one.
[[nodiscard]] std::string ToText(const Plan& plan, const LibraryFunction* function);
[[nodiscard]] nlohmann::ordered_json ToJson(const Plan& plan, const LibraryFunction* function);

}  // namespace ctl
