#include "install/library_folder.h"

#include <windows.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <array>
#include <cwchar>

#include "core/library_state.h"
#include "platform/os_probes.h"

namespace {

// Windows writes at most MAX_PATH characters. Windows XP cuts a longer path without terminating it,
// and the additional character then is its terminating zero.
using PathBuffer = std::array<wchar_t, MAX_PATH + 1>;

}  // namespace

std::wstring LibraryFolder() {
    PathBuffer path{};
    (void)::GetModuleFileNameW(g_libraryModule, path.data(), static_cast<DWORD>(path.size() - 1));
    return FolderOfLibrary(path.data());
}

std::wstring FolderOfLibrary(std::wstring file) {
    (void)::PathRemoveFileSpecW(file.data());
    file.resize(std::wcslen(file.c_str()));
    return file;
}

std::wstring InstallerToolPath(const std::wstring& libraryFolder) {
    return libraryFolder + (IsOs64Bit() ? L"\\files\\inf\\InfInstallerx64.exe"
                                        : L"\\files\\inf\\InfInstallerx86.exe");
}

std::wstring DrivePrefix(const std::wstring& libraryFolder, const std::wstring& commonFiles) {
    // Apple's software is on the drive of the Common Files folder, so that path is cut. The place
    // of the cut comes from the library's folder: all paths with a drive letter have their first
    // separator at the same place. For a library on a network share the prefix is therefore empty,
    // and the installed INF file is looked for on the current drive. Cutting anywhere else would
    // change which INF file the installer tool gets there.
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
