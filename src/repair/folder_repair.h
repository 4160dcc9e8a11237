#pragma once

#include <windows.h>

#include <concepts>
#include <string>

#include "core/fix_helper.h"

// The order of a folder repair, written once for the two who walk it: FixHelper::FixFolder takes
// the steps (fix_folder.cpp), and mendloftctl's plan of a call notes them down.

// The oldest Windows that is repaired is Vista.
inline constexpr DWORD kOldestMajorVersion = 6;

// What writing into the driver store takes, in the order in which it is enabled.
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

template <FolderRepairSteps Steps>
MendloftFolderResult RebuildFolders(Steps& steps, const FixHelper& helper) {
    for (const std::wstring& folder : helper.StorePaths()) {
        steps.CreateFolder(folder);
        steps.GrantAccess(folder);
    }
    steps.CopyDrivers(helper);
    return kMendloftFoldersBuilt;
}

// A second USB folder that stays ends the removal before the other folders are touched.
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

// `repair` and `fixFolders` as in FixHelper::FixFolder.
template <FolderRepairSteps Steps>
MendloftFolderResult RepairFolders(Steps& steps, FixHelper& helper, bool repair, bool fixFolders) {
    const RTL_OSVERSIONINFOW version = steps.WindowsVersion();
    if (version.dwMajorVersion < kOldestMajorVersion) return kMendloftFoldersOldSystem;

    steps.EndCrashReporters();
    helper.InitStorePaths(version.dwMajorVersion, version.dwMinorVersion);
    steps.EnableFilePrivileges();
    if (!steps.Stage(helper)) return kMendloftFoldersFailed;
    if (!fixFolders) return kMendloftFoldersGone;
    return repair ? RebuildFolders(steps, helper) : RemoveFolders(steps, helper);
}
