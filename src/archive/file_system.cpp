#include "archive/file_system.h"

#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <array>
#include <cwchar>
#include <ctime>

#include "platform/paths.h"

namespace SevenZip::intl {

namespace {

constexpr wchar_t kSeparators[] = L"\\/";

// Not every shell function sets GetLastError() when it fails, and a caller would take the 0 that is
// left there for success. So the last error is cleared before such a call. When the call fails and
// leaves it 0, it is set to the call's own result. HRESULT_FROM_WIN32 does not change a result that
// is an HRESULT already.
void ForgetLastError() {
    ::SetLastError(ERROR_SUCCESS);
}

void EnsureLastError(DWORD error) {
    if (::GetLastError() == ERROR_SUCCESS) ::SetLastError(error);
}

UniqueCom<IStream> OpenStream(const std::wstring& path, DWORD mode, BOOL create) {
    UniqueCom<IStream> stream;
    ForgetLastError();
    const HRESULT result = ::SHCreateStreamOnFileEx(path.c_str(), mode, FILE_ATTRIBUTE_NORMAL,
                                                    create, nullptr, stream.Receive());
    if (SUCCEEDED(result)) return stream;
    EnsureLastError(static_cast<DWORD>(result));
    return {};
}

std::wstring LocalTimeText() {
    std::array<wchar_t, 80> text{};
    const __time64_t now = ::_time64(nullptr);
    const std::tm* local = ::_localtime64(&now);
    // Year, day, month. These names stay on disk after a call, so their form is part of what a
    // caller sees: a program that removes leftover files searches for it.
    if (local != nullptr) (void)std::wcsftime(text.data(), text.size(), L"%Y%d%m-%H%M%S", local);
    return text.data();
}

}  // namespace

UniqueCom<IStream> OpenFileForRead(const std::wstring& path) {
    return OpenStream(path, STGM_READ, FALSE);
}

UniqueCom<IStream> CreateFileForWrite(const std::wstring& path) {
    return OpenStream(path, STGM_CREATE | STGM_WRITE, TRUE);
}

bool PathExists(const std::wstring& path) {
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool DeletePath(const std::wstring& path) {
    if (path.empty() || path.size() > MAX_PATH) {
        ::SetLastError(ERROR_INVALID_NAME);
        return false;
    }
    if (!PathExists(path)) return true;

    const std::wstring list = path + L'\0';  // the string's own zero is the second one
    SHFILEOPSTRUCTW operation{};
    operation.wFunc = FO_DELETE;
    operation.pFrom = list.c_str();
    operation.fFlags = FOF_SILENT | FOF_NOCONFIRMATION | FOF_NOERRORUI;
    ForgetLastError();
    const int result = ::SHFileOperationW(&operation);
    if (result == 0) return true;
    EnsureLastError(static_cast<DWORD>(result));
    return false;
}

bool RenamePath(const std::wstring& from, const std::wstring& to) {
    return ::MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != FALSE;
}

bool MovePath(const std::wstring& from, const std::wstring& to) {
    // Without limit. A virus scanner or an indexer that has the file open closes it after a while,
    // and giving up would leave some files replaced and others not.
    while (!RenamePath(from, to)) {
    }
    return true;
}

bool CreateDirectories(const std::wstring& path) {
    const int result = ::SHCreateDirectoryExW(nullptr, path.c_str(), nullptr);
    return result == ERROR_SUCCESS || result == ERROR_ALREADY_EXISTS;
}

std::wstring ParentDirectory(const std::wstring& path) {
    const std::size_t separator = path.find_last_of(kSeparators);
    return separator == std::wstring::npos ? std::wstring() : path.substr(0, separator);
}

std::wstring CombinePath(const std::wstring& directory, const std::wstring& name) {
    return ::JoinPath(directory, name);
}

std::pair<std::wstring, std::wstring> SplitExtension(const std::wstring& path) {
    const std::size_t dot = path.rfind(L'.');
    if (dot == std::wstring::npos || path.find_first_of(kSeparators, dot) != std::wstring::npos) {
        return {path, std::wstring()};
    }
    return {path.substr(0, dot), path.substr(dot)};
}

std::wstring MakeUniquePath(const std::wstring& path) {
    const auto [stem, extension] = SplitExtension(path);
    std::wstring result = path;
    while (PathExists(result)) result = stem + L'~' + LocalTimeText() + extension;
    return result;
}

}  // namespace SevenZip::intl
