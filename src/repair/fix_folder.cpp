#include <windows.h>

#include "platform/os_probes.h"
#include "platform/paths.h"
#include "platform/processes.h"
#include "platform/security.h"
#include "repair/folder_repair.h"
#include "staging/driver_staging.h"  // FixHelper::StageDriverPackage

namespace {

// Carries out the steps of a folder repair on this system. Most results are ignored: a step that
// lacks a right or a folder because an earlier one failed does no harm. It fails as well.
struct SystemSteps {
    static RTL_OSVERSIONINFOW WindowsVersion() { return ::WindowsVersion(); }

    static void EndCrashReporters() { KillWerFault(); }

    // The token's handle is never closed, as mendloft.h says: a host that counts the handles
    // of its process finds one more after each folder repair, for as long as the privileges stay
    // enabled. After a failed open the token is null, and the calls below fail.
    static void EnableFilePrivileges() {
        HANDLE token = nullptr;
        (void)::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY,
                                 &token);
        for (const wchar_t* privilege : kFilePrivileges) (void)SetPrivilege(token, privilege, TRUE);
    }

    static bool Stage(FixHelper& helper) { return helper.StageDriverPackage(); }

    // The usual failure is that the folder exists. Its access is then set like that of a new one.
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
