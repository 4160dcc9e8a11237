#include "mendloftctl/private_folder.h"

#include <windows.h>
#include <ntsecapi.h>
#include <sddl.h>

#include <array>
#include <cstdint>
#include <cwchar>

#include "common/paths.h"
#include "platform/directory_listing.h"
#include "platform/paths.h"
#include "platform/unique_handle.h"

namespace ctl {

using tools::WindowsFolder;

namespace {

// The Administrators group owns the folder. It and the system have full access, which everything
// that is made inside inherits. Nothing is inherited from the parent folder.
constexpr const wchar_t* kAccess = L"O:BAG:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)";

// 128 random bits, so that nobody can prepare a folder of that name. Empty when Windows has no
// random numbers to give.
std::wstring RandomName() {
    std::array<std::uint32_t, 4> numbers{};
    if (!::RtlGenRandom(numbers.data(), sizeof(numbers))) return {};
    std::array<wchar_t, 64> name{};
    (void)swprintf_s(name.data(), name.size(), L"mendloft-%08x%08x%08x%08x", numbers[0], numbers[1],
                     numbers[2], numbers[3]);
    return name.data();
}

bool CreateLocked(const std::wstring& path) {
    UniqueLocal<void> descriptor;
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(kAccess, SDDL_REVISION_1,
                                                                descriptor.Receive(), nullptr)) {
        // After a failure the pointer means nothing, so it is not freed.
        (void)descriptor.Detach();
        return false;
    }
    SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
    // The access list is in place from the start: there is no moment at which others could enter.
    // The call fails when the name exists, so a folder that it made is new and empty.
    return ::CreateDirectoryW(path.c_str(), &attributes) != FALSE;
}

// Unlike DeleteDirectoryTree (platform/paths.h), this removes read-only files too, of which the
// driver archive has one, and it removes a link without entering it.
void RemoveTree(const std::wstring& folder) {
    (void)ForEachEntry(folder + L"\\*", [&](const WIN32_FIND_DATAW& entry) {
        if (IsSelfOrParent(entry)) return;
        const std::wstring path = folder + L"\\" + entry.cFileName;
        (void)::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        if (!IsDirectory(entry)) {
            (void)::DeleteFileW(path.c_str());
        } else if ((entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
            (void)::RemoveDirectoryW(path.c_str());
        } else {
            RemoveTree(path);
        }
    });
    (void)::RemoveDirectoryW(folder.c_str());
}

}  // namespace

PrivateFolder::PrivateFolder() {
    const std::wstring name = RandomName();
    if (name.empty()) return;
    const std::wstring path = PrivateFolderParent() + L"\\" + name;
    if (CreateLocked(path)) path_ = path;
}

bool PrivateFolder::Remove() {
    constexpr int mostTries = 20;
    constexpr DWORD pauseMs = 100;
    if (path_.empty()) return true;
    for (int tries = 0; tries < mostTries; ++tries) {
        if (tries > 0) ::Sleep(pauseMs);
        RemoveTree(path_);
        if (!FileOrFolderExists(path_)) {
            path_.clear();
            return true;
        }
    }
    return false;
}

std::wstring PrivateFolderParent() {
    return WindowsFolder() + L"\\Temp";
}

}  // namespace ctl
