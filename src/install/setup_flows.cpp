#include <windows.h>

#include "api/boolean_argument.h"
#include "api/fix_helper.h"
#include "install/driver_packages.h"
#include "install/inf_installer.h"
#include "install/library_folder.h"
#include "platform/os_probes.h"
#include "platform/paths.h"

namespace {

// The INF file that Apple's own software installed; empty when there is none.
std::wstring InstalledInf(const DriverPackage& package, const std::wstring& libraryFolder) {
    if (!package.installedInf.Exists()) return {};
    const std::wstring inf =
        DrivePrefix(libraryFolder, CommonFilesFolder()) + package.installedInf.For(IsOs64Bit());
    return FileOrFolderExists(inf) ? inf : std::wstring();
}

std::wstring InStagingFolder(const FixHelper& helper, const DriverPackage& package) {
    // Without a staged archive the folder is empty and the path begins with a backslash; the search
    // for the file then fails.
    return helper.stagingDir + package.stagedInf.For(IsOs64Bit());
}

// The INF file in the staged archive, whether it is there or not.
std::wstring StagedInf(FixHelper& helper, const DriverPackage& package, bool repair) {
    if (package.rememberedInf == nullptr) {
        (void)helper.FixFolder(repair, /*fixFolders=*/false);
        return InStagingFolder(helper, package);
    }
    std::wstring& remembered = *package.rememberedInf;
    if (remembered.empty()) (void)helper.FixFolder(repair, /*fixFolders=*/true);
    if (remembered.empty() && package.remembersFallback)
        remembered = InStagingFolder(helper, package);
    return remembered;
}

std::int32_t RunSetupFlow(FixHelper& helper, const DriverPackage& package, std::int32_t repair) {
    const std::wstring libraryFolder = LibraryFolder();

    std::wstring inf = InstalledInf(package, libraryFolder);
    if (inf.empty()) {
        inf = StagedInf(helper, package, IsTrue(repair));
        if (package.announcement != nullptr) package.report(package.announcement, inf.c_str());
        if (!FileOrFolderExists(inf)) {
            package.report(package.infMissing, inf.c_str());
            return FixHelper::kInfMissing;
        }
    }

    const std::wstring tool = InstallerToolPath(libraryFolder);
    if (!FileOrFolderExists(tool)) {
        package.report(package.toolMissing, tool.c_str());
        return FixHelper::kInstallerMissing;
    }
    return RunInfInstaller(tool, inf, repair, package.report);
}

}  // namespace

std::int32_t FixHelper::SetUpUsbDriver(std::int32_t repair) {
    return RunSetupFlow(*this, kUsbPackage, repair);
}

std::int32_t FixHelper::SetUpNetDriver(std::int32_t repair) {
    return RunSetupFlow(*this, kNetPackage, repair);
}

std::int32_t FixHelper::SetUpKisDriver(std::int32_t repair) {
    return RunSetupFlow(*this, kKisPackage, repair);
}

std::int32_t FixHelper::SetUpRsmDriver(std::int32_t repair) {
    return RunSetupFlow(*this, kRsmPackage, repair);
}

std::int32_t FixHelper::SetUpAppleUsbDeviceDriver(std::int32_t repair) {
    return RunSetupFlow(*this, kAppleUsbDevicePackage, repair);
}
