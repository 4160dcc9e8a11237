#pragma once

#include <string>
#include <vector>

#include "mendloftctl/driver_archive.h"
#include "mendloftctl/planned_calls.h"

// The steps that are expected of a call on the system as the prefix shows it, written out
// independently of the library's own tables.

// Where the call finds and leaves its files; folders without a backslash at their end.
struct Places {
    std::wstring libraryFolder;
    std::wstring stagingFolder;
    std::vector<ctl::ArchiveItem> archive;
};

// "action|what" or "action|what|to" for each expected step, a line each.
[[nodiscard]] std::wstring ExpectedSteps(const PlannedCall& call, const Places& places);

// Where Apple's own software puts the INF file of the package that the call sets up.
[[nodiscard]] std::wstring InstalledInf(const PlannedCall& call);
