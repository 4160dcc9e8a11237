#include "platform/paths.h"

#include <windows.h>
#include <shlwapi.h>

#include <cwchar>
#include <stdexcept>

#include "platform/directory_listing.h"

namespace {

bool IsSeparator(wchar_t character) {
    return character == L'\\' || character == L'/';
}

}  // namespace

bool DeleteDirectoryTree(const std::wstring& path) {
    // With the backslash below, an empty path would name the root of the current drive.
    if (path.empty()) throw std::out_of_range("invalid string position");
    // A path that ends in a slash gets a backslash after it. Windows treats the two as one
    // separator.
    const std::wstring folder = path.back() == L'\\' ? path : path + L'\\';
    const bool listed = ForEachEntry(folder + L"*.*", [&](const WIN32_FIND_DATAW& entry) {
        const std::wstring child = folder + entry.cFileName;
        if (!IsDirectory(entry)) {
            (void)::DeleteFileW(child.c_str());
        } else if (!IsSelfOrParent(entry)) {
            (void)DeleteDirectoryTree(child);
        }
    });
    if (!listed) return false;
    (void)::RemoveDirectoryW(path.c_str());
    return true;
}

std::wstring JoinPath(const std::wstring& base, const std::wstring& component) {
    if (base.empty() || IsSeparator(base.back())) return base + component;
    return base + L'\\' + component;
}

bool FileOrFolderExists(const std::wstring& path) {
    return ::PathFileExistsW(path.c_str()) != FALSE;
}
