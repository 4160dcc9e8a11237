#include "common/paths.h"

#include <windows.h>

namespace tools {

namespace {

std::size_t LengthOfFolder(std::wstring_view path) {
    const std::size_t separator = path.find_last_of(L"\\/:");
    return separator == std::wstring_view::npos ? 0 : separator + 1;
}

// Calls a function that writes a path into a buffer and returns a length: that of the path when it
// fits, the size that the buffer needs (terminator included) when it does not, and 0 when the call
// fails. Returns an empty path in the last case, and when the path grows between two calls.
template <typename Function>
std::wstring PathFrom(Function function) {
    std::wstring path(MAX_PATH, L'\0');
    DWORD length = function(path.data(), static_cast<DWORD>(path.size()));
    if (length >= path.size()) {
        path.resize(length);
        length = function(path.data(), static_cast<DWORD>(path.size()));
    }
    path.resize(length < path.size() ? length : 0);
    return path;
}

}  // namespace

std::wstring_view FileNameOf(std::wstring_view path) {
    return path.substr(LengthOfFolder(path));
}

std::wstring_view FolderOf(std::wstring_view path) {
    return path.substr(0, LengthOfFolder(path));
}

std::wstring FullPath(const std::wstring& path) {
    const std::wstring full = PathFrom([&](wchar_t* buffer, DWORD size) {
        return ::GetFullPathNameW(path.c_str(), size, buffer, nullptr);
    });
    return full.empty() ? path : full;
}

std::wstring LongPath(const std::wstring& path) {
    return PathFrom([&](wchar_t* buffer, DWORD size) {
        return ::GetLongPathNameW(path.c_str(), buffer, size);
    });
}

std::wstring WindowsFolder() {
    // In a terminal session GetWindowsDirectoryW may name a folder of the user's own, in which
    // nothing is published. This function always names the folder of the machine.
    return PathFrom(::GetSystemWindowsDirectoryW);
}

std::wstring SystemFolder() {
    return PathFrom(::GetSystemDirectoryW);
}

std::wstring ProgramPath() {
    // Unlike the functions above, this one does not return the size that the buffer needs. No path
    // of Windows is longer than 32,767 characters.
    std::wstring path(32'768, L'\0');
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

}  // namespace tools
