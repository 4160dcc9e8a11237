#pragma once

#include <string>

#include "core/driver_packages.h"

// The folder that the library's own file lies in, which need not be the host's; empty when the
// system does not tell.
[[nodiscard]] std::wstring LibraryFolder();

// Where the installer tool for this system's bitness lies in `libraryFolder`.
[[nodiscard]] std::wstring InstallerToolPath(const std::wstring& libraryFolder);

// The drive of the 32-bit Common Files folder `commonFiles`, cut at the place of the first
// separator in `libraryFolder`; the whole path when that has none.
[[nodiscard]] std::wstring DrivePrefix(const std::wstring& libraryFolder,
                                       const std::wstring& commonFiles);

// Where Apple's own software installs the package's INF file, on the drive above; empty when it
// installs none.
[[nodiscard]] std::wstring InstalledInfPath(const DriverPackage& package,
                                            const std::wstring& libraryFolder,
                                            const std::wstring& commonFiles);

// The 32-bit Common Files folder; empty when the system does not tell.
[[nodiscard]] std::wstring CommonFilesFolder();
