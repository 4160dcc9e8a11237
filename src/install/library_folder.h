#pragma once

#include <string>

#include "core/driver_packages.h"

// The folder of the library's own file, which may differ from the host's folder. Without a trailing
// backslash, except for the root of a drive. Empty when Windows cannot determine it.
[[nodiscard]] std::wstring LibraryFolder();

// The folder of the library's file at the full path `file`, by the same rule.
[[nodiscard]] std::wstring FolderOfLibrary(std::wstring file);

// The path of the installer tool for this system's bitness below `libraryFolder`, whether or not
// the file exists.
[[nodiscard]] std::wstring InstallerToolPath(const std::wstring& libraryFolder);

// The beginning of the 32-bit Common Files folder `commonFiles`, as long as what comes before the
// first separator in `libraryFolder`. That is the drive when both begin with one. It is empty when
// `libraryFolder` begins with a separator, and all of `commonFiles` when it has none.
[[nodiscard]] std::wstring DrivePrefix(const std::wstring& libraryFolder,
                                       const std::wstring& commonFiles);

// Where Apple's own software installs the package's INF file on that drive, whether or not the file
// exists. Empty for a package that is always staged.
[[nodiscard]] std::wstring InstalledInfPath(const DriverPackage& package,
                                            const std::wstring& libraryFolder,
                                            const std::wstring& commonFiles);

// The 32-bit Common Files folder, without a trailing backslash. Empty when Windows cannot determine
// it.
[[nodiscard]] std::wstring CommonFilesFolder();
