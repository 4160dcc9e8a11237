#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

// What one repair or setup call works on: the driver-store folders of this system and the folder
// into which the driver package was unpacked. Each exported call makes one, in shared ownership,
// and drops it at its end. The bodies of the routines lie in the folder of their subject.
class FixHelper {
public:
    enum FixResult : std::int32_t {
        kDone = 0,       // staged, and nothing else was asked; or every driver-store folder is gone
        kFailed = 1,     // staging failed, or a driver-store folder outlived its removal
        kOldSystem = 2,  // Windows is older than Vista; nothing was touched
        kFoldersBuilt = 4,  // the driver-store folders were created, secured and filled, as far as
                            // the system let it
    };

    enum SetupResult : std::int32_t {
        kInstallerRan = 0,          // the installer tool was started and has ended
        kInfMissing = -1,           // no INF file at the chosen path
        kInstallerMissing = -2,     // no installer tool beside the library
        kInstallerNotStarted = -3,  // Windows could not start the installer tool
    };

    // Fills the six driver-store members for Windows version `major`.`minor` and its bitness.
    void InitStorePaths(const DWORD& major, const DWORD& minor);

    // Writes the embedded driver archive into the temporary directory and unpacks it there. Returns
    // true, with `stagingDir` set, when both worked.
    [[nodiscard]] bool StageDriverPackage();

    // Stages the driver package; then, when `fixFolders` is set, rebuilds the driver-store folders
    // (`repair` set) or removes them.
    FixResult FixFolder(bool repair, bool fixFolders);

    // Copies the staged drivers into the driver-store folders and remembers the staged INF files
    // for the whole process. Returns false when there is nothing staged to copy from; a single copy
    // that fails is not reported.
    bool CopyDrivers() const;

    // Install (low byte of `repair` not 0) or remove one driver package with the installer tool,
    // wait for the tool without limit, and have Windows enumerate its devices again.
    std::int32_t SetUpUsbDriver(std::int32_t repair);
    std::int32_t SetUpNetDriver(std::int32_t repair);
    std::int32_t SetUpKisDriver(std::int32_t repair);
    std::int32_t SetUpRsmDriver(std::int32_t repair);
    std::int32_t SetUpAppleUsbDeviceDriver(std::int32_t repair);

    std::wstring usbStorePath;   // full paths of the driver-store folders; the second USB folder is
    std::wstring usbStorePath2;  // empty where the system has none
    std::wstring netStorePath;
    std::wstring usbStoreName;  // the names of those folders
    std::wstring usbStoreName2;
    std::wstring netStoreName;
    std::wstring stagingDir;  // without a backslash at its end; empty until the package is unpacked
    bool reservedOff = false;  // neither flag is read or changed by anything
    bool reservedOn = true;
};
