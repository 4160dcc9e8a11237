#include "inf_installer/driver_store.h"

#include <setupapi.h>

#include "common/paths.h"
#include "common/unique_module.h"
#include "platform/function_lookup.h"

namespace installer {

using tools::FolderOf;
using tools::SystemFolder;
using tools::UniqueModule;

namespace {

// Called right after the system call, because it reads that call's last error.
CallResult ResultOf(BOOL succeeded, BOOL restartNeeded = FALSE) {
    if (!succeeded) return {::GetLastError(), false};
    return {ERROR_SUCCESS, restartNeeded != FALSE};
}

// Loaded by its full path: a file of that name beside the tool would otherwise be found first and
// run with the tool's rights. Empty when Windows has no such module.
UniqueModule LoadNewdev() {
    return UniqueModule(::LoadLibraryW((SystemFolder() + L"\\newdev.dll").c_str()));
}

// Calls a function of newdev.dll on an INF path. Both functions that are called this way have the
// same parameters. They are looked up at run time, because not every Windows has them:
// DiInstallDriverW came with Windows Vista, DiUninstallDriverW with Windows 10. Empty where the
// function is missing.
std::optional<CallResult> CallNewdev(const char* function, const std::wstring& path) {
    using DriverFunction =
        BOOL(WINAPI*)(HWND parent, const wchar_t* infPath, DWORD flags, BOOL* restart);

    const UniqueModule newdev = LoadNewdev();
    if (!newdev) return std::nullopt;
    const auto call = LookUp<DriverFunction>(newdev.Get(), function);
    if (call == nullptr) return std::nullopt;
    // No flags: an installation does not replace a better driver.
    BOOL restartNeeded = FALSE;
    const BOOL succeeded = call(nullptr, path.c_str(), 0, &restartNeeded);
    return ResultOf(succeeded, restartNeeded);
}

}  // namespace

std::optional<CallResult> InstallOnDevices(const std::wstring& infPath) {
    return CallNewdev("DiInstallDriverW", infPath);
}

CallResult AddToDriverStore(const std::wstring& infPath) {
    // The folder is where Windows finds the other files of the package.
    const std::wstring folder(FolderOf(infPath));
    return ResultOf(::SetupCopyOEMInfW(infPath.c_str(), folder.c_str(), SPOST_PATH, 0, nullptr, 0,
                                       nullptr, nullptr));
}

std::optional<CallResult> UninstallFromDevices(const std::wstring& publishedPath) {
    return CallNewdev("DiUninstallDriverW", publishedPath);
}

CallResult RemoveFromDriverStore(const std::wstring& name) {
    // Without force Windows keeps a package that a device uses.
    return ResultOf(::SetupUninstallOEMInfW(name.c_str(), SUOI_FORCEDELETE, nullptr));
}

}  // namespace installer
