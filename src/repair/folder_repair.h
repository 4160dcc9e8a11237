#pragma once

#include <windows.h>

#include <concepts>
#include <string>

#include "core/fix_helper.h"

// FixHelper::FixFolder and FixHelper::CopyDrivers are defined in this folder.
//
// The order of the steps of a folder repair. It has two users: FixHelper::FixFolder carries the
// steps out (fix_folder.cpp), and mendloftctl's plan of a call only records them.

// The major version of Windows Vista, the oldest Windows that is repaired.
inline constexpr DWORD kOldestMajorVersion = 6;

// The privileges for writing into the driver store, in the order in which they are enabled.
inline constexpr const wchar_t* kFilePrivileges[] = {L"SeRestorePrivilege", L"SeBackupPrivilege"};

template <typename T>
concept FolderRepairSteps = requires(T& steps, FixHelper& helper, const std::wstring& path) {
    { steps.WindowsVersion() } -> std::same_as<RTL_OSVERSIONINFOW>;
    steps.EndCrashReporters();
    steps.EnableFilePrivileges();
    { steps.Stage(helper) } -> std::same_as<bool>;  // sets helper.stagingDir when it succeeds
    steps.CreateFolder(path);
    steps.GrantAccess(path);
    steps.CopyDrivers(helper);
    steps.DeleteFolder(path);
    { steps.Exists(path) } -> std::same_as<bool>;
};

// Always returns kMendloftFoldersBuilt. The results of the steps do not show whether the folders
// are usable: creating a folder fails when it exists, for example.
template <FolderRepairSteps Steps>
MendloftFolderResult RebuildFolders(Steps& steps, const FixHelper& helper) {
    for (const std::wstring& folder : helper.StorePaths()) {
        steps.CreateFolder(folder);
        steps.GrantAccess(folder);
    }
    steps.CopyDrivers(helper);
    return kMendloftFoldersBuilt;
}

// Returns kMendloftFoldersGone, or kMendloftFoldersFailed when a folder is left. A second USB
// folder that is left ends the removal before the other two folders are touched, so they stay
// complete.
template <FolderRepairSteps Steps>
MendloftFolderResult RemoveFolders(Steps& steps, const FixHelper& helper) {
    if (!helper.usbStorePath2.empty()) {
        steps.DeleteFolder(helper.usbStorePath2);
        if (steps.Exists(helper.usbStorePath2)) return kMendloftFoldersFailed;
    }
    steps.DeleteFolder(helper.usbStorePath);
    steps.DeleteFolder(helper.netStorePath);
    const bool left = steps.Exists(helper.usbStorePath) || steps.Exists(helper.netStorePath);
    return left ? kMendloftFoldersFailed : kMendloftFoldersGone;
}

// Does what FixHelper::FixFolder does, with the same arguments and results. The version is tested
// before anything else, so an older Windows is not changed at all.
template <FolderRepairSteps Steps>
MendloftFolderResult RepairFolders(Steps& steps, FixHelper& helper, bool repair, bool fixFolders) {
    const RTL_OSVERSIONINFOW version = steps.WindowsVersion();
    if (version.dwMajorVersion < kOldestMajorVersion) return kMendloftFoldersOldSystem;

    steps.EndCrashReporters();
    helper.InitStorePaths(version.dwMajorVersion, version.dwMinorVersion);
    steps.EnableFilePrivileges();
    if (!steps.Stage(helper)) return kMendloftFoldersFailed;
    if (!fixFolders) return kMendloftFoldersGone;  // here it means that the package is staged
    return repair ? RebuildFolders(steps, helper) : RemoveFolders(steps, helper);
}
