#include "install/library_folder.h"

#include <windows.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <array>

#include "core/library_state.h"
#include "platform/os_probes.h"

namespace {

// One character longer than what the system is told, so that a path cut at the limit is terminated.
using PathBuffer = std::array<wchar_t, MAX_PATH + 1>;

}  // namespace

std::wstring LibraryFolder() {
    PathBuffer path{};
    (void)::GetModuleFileNameW(g_libraryModule, path.data(), static_cast<DWORD>(path.size() - 1));
    (void)::PathRemoveFileSpecW(path.data());
    return path.data();
}

std::wstring InstallerToolPath(const std::wstring& libraryFolder) {
    return libraryFolder + (IsOs64Bit() ? L"\\files\\inf\\InfInstallerx64.exe"
                                        : L"\\files\\inf\\InfInstallerx86.exe");
}

std::wstring DrivePrefix(const std::wstring& libraryFolder, const std::wstring& commonFiles) {
    // The place comes from one path and cuts the other, on purpose: "D:\..." cuts "C:" from
    // "C:\Program Files...". A library on a network share cuts nothing off, a quirk that is kept.
    return commonFiles.substr(0, libraryFolder.find_first_of(L"\\/"));
}

std::wstring InstalledInfPath(const DriverPackage& package, const std::wstring& libraryFolder,
                              const std::wstring& commonFiles) {
    return package.InstalledInf(DrivePrefix(libraryFolder, commonFiles), IsOs64Bit());
}

std::wstring CommonFilesFolder() {
    PathBuffer path{};
    const BOOL found =
        ::SHGetSpecialFolderPathW(nullptr, path.data(), CSIDL_PROGRAM_FILES_COMMONX86, FALSE);
    return found ? path.data() : L"";
}
