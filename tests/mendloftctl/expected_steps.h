#pragma once

#include <string>
#include <vector>

#include "mendloftctl/driver_archive.h"
#include "mendloftctl/planned_calls.h"

// The steps that are expected of a call on the Windows version and bitness of the Wine prefix,
// written out independently of the library's own tables.

// Where the call finds and leaves its files. The folders have no trailing backslash.
struct Places {
    std::wstring libraryFolder;
    std::wstring stagingFolder;
    std::vector<ctl::ArchiveItem> archive;
};

// "action|what" or "action|what|to" for each expected step, a line each.
[[nodiscard]] std::wstring ExpectedSteps(const PlannedCall& call, const Places& places);

// Where Apple's own software puts the INF file of the package that the call sets up.
[[nodiscard]] std::wstring InstalledInf(const PlannedCall& call);
