#include <windows.h>

#include "install/inf_installer.h"
#include "install/library_folder.h"
#include "install/setup_flow.h"
#include "platform/paths.h"
#include "repair/folder_repair.h"  // FixHelper::FixFolder

namespace {

// Carries out the steps of a driver setup on this system.
struct SystemSteps {
    static std::wstring LibraryFolder() { return ::LibraryFolder(); }
    static std::wstring CommonFilesFolder() { return ::CommonFilesFolder(); }

    static bool InstalledInfExists(const std::wstring& path) { return FileOrFolderExists(path); }
    static bool StagedInfExists(const std::wstring& path) { return FileOrFolderExists(path); }
    static bool ToolExists(const std::wstring& path) { return FileOrFolderExists(path); }

    // The result is not needed: a failure shows as a missing INF file in the next step.
    static void FixFolder(FixHelper& helper, bool repair, bool fixFolders) {
        (void)helper.FixFolder(repair, fixFolders);
    }

    static std::wstring& RememberedInf(const DriverPackage& package) {
        return *package.rememberedInf;
    }

    static void Report(const DriverPackage& package, const wchar_t* message,
                       const std::wstring& path) {
        package.report(message, path.c_str());
    }

    static MendloftSetupResult RunInstaller(const DriverPackage& package, const std::wstring& tool,
                                            const std::wstring& inf, std::int32_t repair) {
        return RunInfInstaller(tool, inf, repair, package.report);
    }
};

MendloftSetupResult SetUp(FixHelper& helper, const DriverPackage& package, std::int32_t repair) {
    SystemSteps steps;
    return SetUpPackage(steps, helper, package, repair);
}

}  // namespace

MendloftSetupResult FixHelper::SetUpUsbDriver(std::int32_t repair) {
    return SetUp(*this, kUsbPackage, repair);
}

MendloftSetupResult FixHelper::SetUpNetDriver(std::int32_t repair) {
    return SetUp(*this, kNetPackage, repair);
}

MendloftSetupResult FixHelper::SetUpKisDriver(std::int32_t repair) {
    return SetUp(*this, kKisPackage, repair);
}

MendloftSetupResult FixHelper::SetUpRsmDriver(std::int32_t repair) {
    return SetUp(*this, kRsmPackage, repair);
}

MendloftSetupResult FixHelper::SetUpAppleUsbDeviceDriver(std::int32_t repair) {
    return SetUp(*this, kAppleUsbDevicePackage, repair);
}
