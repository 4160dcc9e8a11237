#pragma once

#include <cstdint>
#include <string>

#include "core/driver_packages.h"
#include "mendloft/mendloft.h"

// The command line that has the installer tool at `tool` install (low byte of `repair` not 0) or
// remove the driver package of the INF file at `inf`.
[[nodiscard]] std::wstring InstallerCommandLine(const std::wstring& tool, const std::wstring& inf,
                                                std::int32_t repair);

// Runs the installer tool without a window, waits for its end without limit, and has Windows
// enumerate its devices again. Returns kMendloftSetupToolRan, whatever the tool's exit code and
// the enumeration's result, or kMendloftSetupToolNotStarted with a message through `report`.
MendloftSetupResult RunInfInstaller(const std::wstring& tool, const std::wstring& inf,
                                    std::int32_t repair, MessageChannel report);
