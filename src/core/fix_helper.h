#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "mendloft/mendloft.h"

// What one repair or setup call works on: the driver-store folders of this system and the folder
// into which the driver package is unpacked. Each export makes one, in shared ownership, and
// releases it before it returns. Each routine is defined in the folder of its subject: src/staging,
// src/repair, src/install. The routines run on the caller's thread, for one call at a time.
//
// The members keep this order, and a test holds it: a release DLL has no symbols, so whoever reads
// a host's crash dump finds a member by its offset.
class FixHelper {
public:
    // Sets the six driver-store members for Windows `major`.`minor` and its bitness. On a system
    // without a second USB folder, `usbStoreName2` and `usbStorePath2` stay as they are.
    void InitStorePaths(const DWORD& major, const DWORD& minor);

    // The paths of this system's driver-store folders, in the order in which a repair creates them.
    // None before InitStorePaths.
    [[nodiscard]] std::vector<std::wstring> StorePaths() const;

    // Writes the embedded driver archive into the staging folder in the temporary directory and
    // unpacks it there, over the files of an earlier call. Returns true and sets `stagingDir` when
    // both worked. Returns false and leaves `stagingDir` alone when one of them failed. Throws a
    // _com_error when 7-Zip cannot read a property of an item.
    [[nodiscard]] bool StageDriverPackage();

    // Stages the driver package. Then, with `fixFolders`, rebuilds the driver-store folders
    // (`repair` true) or removes them (`repair` false). Returns
    //   kMendloftFoldersOldSystem  on Windows before Vista, where it does nothing;
    //   kMendloftFoldersFailed     when staging failed, or a folder is left after a removal;
    //   kMendloftFoldersBuilt      after a rebuild, even when a step of it failed;
    //   kMendloftFoldersGone       after a removal, and after staging alone.
    // Enables the restore and backup privileges until the process ends and leaves a handle to its
    // token open. Throws what StageDriverPackage throws.
    MendloftFolderResult FixFolder(bool repair, bool fixFolders);

    // Copies the staged drivers into the driver-store folders and remembers the staged INF files
    // for the whole process. Writes one line to the debugger output for each file. Returns false
    // when the staging folder does not exist or its USB folder cannot be listed. A single copy that
    // fails is not reported.
    bool CopyDrivers() const;

    // Install (low byte of `repair` not 0) or remove one driver package with the installer tool,
    // wait for the tool without limit, and ask Windows to rescan devices. The results are those of
    // the exports. A missing file, or a tool that Windows cannot start, is also reported on the
    // package's channel.
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
    std::wstring stagingDir;  // without a trailing backslash; empty until the package is unpacked

    // Spare: nothing reads or changes them. They are the last two members of the order.
    bool reservedOff = false;
    bool reservedOn = true;
};
