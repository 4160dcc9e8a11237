#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "mendloft/mendloft.h"

// What one repair or setup call works on: the driver-store folders of this system and the folder
// into which the driver package was unpacked. Each exported call makes one, in shared ownership,
// and releases it at its end. Each routine is defined in the folder of its subject: src/staging,
// src/repair, src/install.
//
// The members keep this order: what is compiled apart from this header, such as a debugger script
// for a host's crash dump, finds them by their offsets.
class FixHelper {
public:
    // Fills the six driver-store members for Windows version `major`.`minor` and its bitness.
    void InitStorePaths(const DWORD& major, const DWORD& minor);

    // The driver-store folders that this system has, in the order in which a repair creates them.
    [[nodiscard]] std::vector<std::wstring> StorePaths() const;

    // Writes the embedded driver archive into the temporary directory and unpacks it there. Returns
    // true, with `stagingDir` set, when both worked.
    [[nodiscard]] bool StageDriverPackage();

    // Stages the driver package; then, when `fixFolders` is set, rebuilds the driver-store folders
    // (`repair` set) or removes them. Without `fixFolders`, kMendloftFoldersGone means that the
    // package is staged.
    MendloftFolderResult FixFolder(bool repair, bool fixFolders);

    // Copies the staged drivers into the driver-store folders and remembers the staged INF files
    // for the whole process. Returns false when there is nothing staged to copy from; a single copy
    // that fails is not reported.
    bool CopyDrivers() const;

    // Install (low byte of `repair` not 0) or remove one driver package with the installer tool,
    // wait for the tool without limit, and ask Windows to rescan devices.
    MendloftSetupResult SetUpUsbDriver(std::int32_t repair);
    MendloftSetupResult SetUpNetDriver(std::int32_t repair);
    MendloftSetupResult SetUpKisDriver(std::int32_t repair);
    MendloftSetupResult SetUpRsmDriver(std::int32_t repair);
    MendloftSetupResult SetUpAppleUsbDeviceDriver(std::int32_t repair);

    std::wstring usbStorePath;   // full paths of the driver-store folders; the second USB folder is
    std::wstring usbStorePath2;  // empty where the system has none
    std::wstring netStorePath;
    std::wstring usbStoreName;  // the names of those folders
    std::wstring usbStoreName2;
    std::wstring netStoreName;
    std::wstring stagingDir;   // without a trailing backslash; empty until the package is unpacked
    bool reservedOff = false;  // for later options; nothing reads or changes the two flags yet
    bool reservedOn = true;
};
