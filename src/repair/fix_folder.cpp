#include <windows.h>

#include "platform/os_probes.h"
#include "platform/paths.h"
#include "platform/processes.h"
#include "platform/security.h"
#include "repair/folder_repair.h"
#include "staging/driver_staging.h"  // FixHelper::StageDriverPackage

namespace {

// The steps of a folder repair as the system takes them. Most results do not matter: a step that
// lacks the rights or the folder that an earlier one should have brought fails by itself.
struct SystemSteps {
    static RTL_OSVERSIONINFOW WindowsVersion() {
        RTL_OSVERSIONINFOW version{};
        version.dwOSVersionInfoSize = sizeof(version);
        (void)GetOsVersion(version);
        return version;
    }

    static void EndCrashReporters() { KillWerFault(); }

    // The token stays open for the rest of the process's life, like the privileges themselves.
    static void EnableFilePrivileges() {
        HANDLE token = nullptr;
        (void)::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY,
                                 &token);
        for (const wchar_t* privilege : kFilePrivileges) (void)SetPrivilege(token, privilege, TRUE);
    }

    static bool Stage(FixHelper& helper) { return helper.StageDriverPackage(); }

    // Mostly fails because the folder is there already, and then its access is set all the same.
    static void CreateFolder(const std::wstring& path) {
        (void)::CreateDirectoryW(path.c_str(), nullptr);
    }

    static void GrantAccess(const std::wstring& path) { (void)GrantFolderAccess(path.c_str()); }

    static void CopyDrivers(const FixHelper& helper) { (void)helper.CopyDrivers(); }

    static void DeleteFolder(const std::wstring& path) { (void)DeleteDirectoryTree(path); }

    static bool Exists(const std::wstring& path) { return FileOrFolderExists(path); }
};

}  // namespace

MendloftFolderResult FixHelper::FixFolder(bool repair, bool fixFolders) {
    SystemSteps steps;
    return RepairFolders(steps, *this, repair, fixFolders);
}
