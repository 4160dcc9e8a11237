#pragma once

#include <concepts>
#include <string>

#include "core/driver_packages.h"
#include "core/fix_helper.h"
#include "platform/os_probes.h"
#include "platform/paths.h"

// The order of the driver copy, written once for the two who walk it: FixHelper::CopyDrivers takes
// the steps (copy_drivers.cpp), and mendloftctl's plan of a call notes them down.

template <typename T>
concept DriverCopySteps = requires(T& steps, const std::wstring& path,
                                   void (*visit)(const wchar_t* name)) {
    steps.Remember(kUsbPackage, path);  // that this is the package's staged INF file
    { steps.Exists(path) } -> std::same_as<bool>;
    // Calls `visit` with each file in the folder `path`, and returns false when the folder cannot
    // be listed.
    { steps.ForEachFile(path, visit) } -> std::same_as<bool>;
    steps.Copy(path, path);  // from, to
    steps.LogCopy(path);
};

// Returns what FixHelper::CopyDrivers returns.
template <DriverCopySteps Steps>
bool CopyStagedDrivers(Steps& steps, const FixHelper& helper) {
    const bool is64Bit = IsOs64Bit();
    steps.Remember(kUsbPackage, kUsbPackage.StagedInf(helper.stagingDir, is64Bit));
    steps.Remember(kNetPackage, kNetPackage.StagedInf(helper.stagingDir, is64Bit));
    if (!steps.Exists(helper.stagingDir)) return false;

    const std::wstring usbFolder = kUsbPackage.StagedFolder(helper.stagingDir, is64Bit);
    const bool usbFolderListed = steps.ForEachFile(usbFolder, [&](const wchar_t* name) {
        const std::wstring source = JoinPath(usbFolder, name);
        const std::wstring destination = helper.usbStorePath + L'\\' + name;
        steps.Copy(source, destination);
        steps.LogCopy(destination);
        if (!helper.usbStorePath2.empty()) steps.Copy(source, helper.usbStorePath2 + L'\\' + name);
    });
    if (!usbFolderListed) return false;

    const std::wstring netFolder = kNetPackage.StagedFolder(helper.stagingDir, is64Bit);
    (void)steps.ForEachFile(netFolder, [&](const wchar_t* name) {
        // Without a backslash, unlike the USB files: the source names no file, the copy fails
        // quietly, and the network folder stays empty. Hosts find the line for each file all the
        // same.
        const std::wstring source = netFolder + name;
        const std::wstring destination = helper.netStorePath + L'\\' + name;
        steps.Copy(source, destination);
        steps.LogCopy(destination);
    });
    return true;
}
