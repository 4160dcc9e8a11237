#include <windows.h>

#include "api/fix_helper.h"
#include "platform/os_probes.h"
#include "platform/paths.h"
#include "platform/processes.h"
#include "platform/security.h"

namespace {

void EnableFilePrivileges() {
    // The token is left open for the rest of the process's life, like the privileges themselves;
    // the results do not matter, because what follows fails by itself without the rights.
    HANDLE token = nullptr;
    (void)::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token);
    (void)SetPrivilege(token, L"SeRestorePrivilege", TRUE);
    (void)SetPrivilege(token, L"SeBackupPrivilege", TRUE);
}

void CreateStoreFolder(const std::wstring& path) {
    // A failure is most often a folder that is there already, and its access is set all the same.
    (void)::CreateDirectoryW(path.c_str(), nullptr);
    (void)GrantFolderAccess(path.c_str());
}

FixHelper::FixResult RebuildFolders(FixHelper& helper) {
    CreateStoreFolder(helper.usbStorePath);
    if (!helper.usbStorePath2.empty()) CreateStoreFolder(helper.usbStorePath2);
    CreateStoreFolder(helper.netStorePath);
    (void)helper.CopyDrivers();
    return FixHelper::kFoldersBuilt;
}

FixHelper::FixResult RemoveFolders(const FixHelper& helper) {
    if (!helper.usbStorePath2.empty()) {
        (void)DeleteDirectoryTree(helper.usbStorePath2);
        if (FileOrFolderExists(helper.usbStorePath2)) return FixHelper::kFailed;
    }
    (void)DeleteDirectoryTree(helper.usbStorePath);
    (void)DeleteDirectoryTree(helper.netStorePath);
    const bool left =
        FileOrFolderExists(helper.usbStorePath) || FileOrFolderExists(helper.netStorePath);
    return left ? FixHelper::kFailed : FixHelper::kDone;
}

}  // namespace

FixHelper::FixResult FixHelper::FixFolder(bool repair, bool fixFolders) {
    constexpr DWORD windowsVista = 6;

    RTL_OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    (void)GetOsVersion(version);
    if (version.dwMajorVersion < windowsVista) return kOldSystem;

    KillWerFault();
    InitStorePaths(version.dwMajorVersion, version.dwMinorVersion);
    EnableFilePrivileges();
    if (!StageDriverPackage()) return kFailed;
    if (!fixFolders) return kDone;
    return repair ? RebuildFolders(*this) : RemoveFolders(*this);
}
