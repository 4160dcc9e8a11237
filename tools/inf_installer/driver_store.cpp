#include "inf_installer/driver_store.h"

#include <setupapi.h>

#include "common/paths.h"
#include "common/unique_module.h"

namespace installer {

using tools::FolderOf;
using tools::SystemFolder;
using tools::UniqueModule;

namespace {

CallResult ResultOf(BOOL succeeded, BOOL restartNeeded = FALSE) {
    if (!succeeded) return {::GetLastError(), false};
    return {ERROR_SUCCESS, restartNeeded != FALSE};
}

// Loaded by its full path, so that no file of that name beside the tool runs with its rights.
UniqueModule LoadNewdev() {
    return UniqueModule(::LoadLibraryW((SystemFolder() + L"\\newdev.dll").c_str()));
}

// The functions of newdev that take an INF path have one shape. They are looked up because neither
// is on every Windows: DiInstallDriverW came with 6.0, DiUninstallDriverW with 10.0.
std::optional<CallResult> CallNewdev(const char* function, const std::wstring& path) {
    using DriverFunction =
        BOOL(WINAPI*)(HWND parent, const wchar_t* infPath, DWORD flags, BOOL* restart);

    const UniqueModule newdev = LoadNewdev();
    if (!newdev) return std::nullopt;
    const auto call = reinterpret_cast<DriverFunction>(
        reinterpret_cast<void*>(::GetProcAddress(newdev.Get(), function)));
    if (call == nullptr) return std::nullopt;
    BOOL restartNeeded = FALSE;
    const BOOL succeeded = call(nullptr, path.c_str(), 0, &restartNeeded);
    return ResultOf(succeeded, restartNeeded);
}

}  // namespace

std::optional<CallResult> InstallOnDevices(const std::wstring& infPath) {
    return CallNewdev("DiInstallDriverW", infPath);
}

CallResult AddToDriverStore(const std::wstring& infPath) {
    const std::wstring folder(FolderOf(infPath));
    return ResultOf(::SetupCopyOEMInfW(infPath.c_str(), folder.c_str(), SPOST_PATH, 0, nullptr, 0,
                                       nullptr, nullptr));
}

std::optional<CallResult> UninstallFromDevices(const std::wstring& publishedPath) {
    return CallNewdev("DiUninstallDriverW", publishedPath);
}

CallResult RemoveFromDriverStore(const std::wstring& name) {
    return ResultOf(::SetupUninstallOEMInfW(name.c_str(), SUOI_FORCEDELETE, nullptr));
}

}  // namespace installer
