#pragma once

#include <cstdint>
#include <string>

#include "core/driver_packages.h"
#include "mendloft/mendloft.h"

// The command line with which the installer tool at `tool` installs (low byte of `repair` not 0) or
// removes the driver package of the INF file at `inf`. Nothing in the two paths is escaped.
[[nodiscard]] std::wstring InstallerCommandLine(const std::wstring& tool, const std::wstring& inf,
                                                std::int32_t repair);

// Starts the installer tool without a window, waits without limit until it has ended, and asks
// Windows to rescan devices. Returns kMendloftSetupToolRan then, whatever the tool's exit code and
// the result of the rescan. When Windows cannot start the tool, writes a message with its error
// code through `report` and returns kMendloftSetupToolNotStarted.
MendloftSetupResult RunInfInstaller(const std::wstring& tool, const std::wstring& inf,
                                    std::int32_t repair, MessageChannel report);
