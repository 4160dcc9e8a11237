#pragma once

#include <concepts>
#include <cstdint>
#include <string>

#include "core/boolean_argument.h"
#include "core/driver_packages.h"
#include "core/fix_helper.h"
#include "install/library_folder.h"
#include "platform/os_probes.h"

// FixHelper's five SetUp routines are defined in this folder.
//
// The order of the steps of a driver setup. It has two users: the five SetUp routines of FixHelper
// carry the steps out (setup_flows.cpp), and mendloftctl's plan of a call only records them.

template <typename T>
concept SetupSteps = requires(T& steps, FixHelper& helper, const std::wstring& path, bool flag,
                              std::int32_t repair) {
    { steps.LibraryFolder() } -> std::same_as<std::wstring>;
    { steps.CommonFilesFolder() } -> std::same_as<std::wstring>;
    { steps.InstalledInfExists(path) } -> std::same_as<bool>;
    steps.FixFolder(helper, /*repair=*/flag, /*fixFolders=*/flag);
    // The path that the process remembers for the package. An assignment to it is remembered.
    { steps.RememberedInf(kUsbPackage) } -> std::same_as<std::wstring&>;
    steps.Report(kUsbPackage, kUsbPackage.infMissing, path);
    { steps.StagedInfExists(path) } -> std::same_as<bool>;
    { steps.ToolExists(path) } -> std::same_as<bool>;
    // Installs (low byte of `repair` not 0) or removes the package of the INF file, which is the
    // second path, with the tool, which is the first.
    { steps.RunInstaller(kUsbPackage, path, path, repair) } -> std::same_as<MendloftSetupResult>;
};

// The INF file that Apple's own software installed. Empty when it installed none.
template <SetupSteps Steps>
std::wstring InstalledInf(Steps& steps, const DriverPackage& package,
                          const std::wstring& libraryFolder) {
    if (package.installedFolder == nullptr) return {};
    const std::wstring inf = InstalledInfPath(package, libraryFolder, steps.CommonFilesFolder());
    return steps.InstalledInfExists(inf) ? inf : std::wstring();
}

// The path of the INF file in the staged archive, whether or not the file exists. A path that the
// process remembers is used without staging again. When nothing was staged, the path begins with a
// backslash, which leads to the root of the current drive, or is empty for a package without a
// fallback.
template <SetupSteps Steps>
std::wstring StagedInf(Steps& steps, FixHelper& helper, const DriverPackage& package, bool repair) {
    if (package.rememberedInf == nullptr) {
        steps.FixFolder(helper, repair, /*fixFolders=*/false);
        return package.StagedInf(helper.stagingDir, IsOs64Bit());
    }
    std::wstring& remembered = steps.RememberedInf(package);
    if (remembered.empty()) steps.FixFolder(helper, repair, /*fixFolders=*/true);
    if (remembered.empty() && package.remembersFallback)
        remembered = package.StagedInf(helper.stagingDir, IsOs64Bit());
    return remembered;
}

// Sets up `package`. `repair` and the result are those of FixHelper's SetUp routines.
template <SetupSteps Steps>
MendloftSetupResult SetUpPackage(Steps& steps, FixHelper& helper, const DriverPackage& package,
                                 std::int32_t repair) {
    const std::wstring libraryFolder = steps.LibraryFolder();

    std::wstring inf = InstalledInf(steps, package, libraryFolder);
    if (inf.empty()) {
        inf = StagedInf(steps, helper, package, IsTrue(repair));
        if (package.announcement != nullptr) steps.Report(package, package.announcement, inf);
        if (!steps.StagedInfExists(inf)) {
            steps.Report(package, package.infMissing, inf);
            return kMendloftSetupInfMissing;
        }
    }

    const std::wstring tool = InstallerToolPath(libraryFolder);
    if (!steps.ToolExists(tool)) {
        steps.Report(package, package.toolMissing, tool);
        return kMendloftSetupToolMissing;
    }
    return steps.RunInstaller(package, tool, inf, repair);
}
