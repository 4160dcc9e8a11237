#pragma once

#include <windows.h>

#include <cwchar>
#include <string>

#include "platform/unique_handle.h"

// Calls `visit` with the WIN32_FIND_DATAW of every entry that matches `pattern`, in the order in
// which Windows lists them, including "." and "..". Returns false, without a call, when Windows
// cannot list them or nothing matches.
template <typename Visit>
bool ForEachEntry(const std::wstring& pattern, Visit visit) {
    WIN32_FIND_DATAW entry{};
    const UniqueFind search(::FindFirstFileW(pattern.c_str(), &entry));
    if (!search) return false;
    do {
        visit(entry);
    } while (::FindNextFileW(search.Get(), &entry));
    return true;
}

[[nodiscard]] inline bool IsDirectory(const WIN32_FIND_DATAW& entry) {
    return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Whether the entry is "." or "..", the folder itself or the one that contains it.
[[nodiscard]] inline bool IsSelfOrParent(const WIN32_FIND_DATAW& entry) {
    return ::_wcsicmp(entry.cFileName, L".") == 0 || ::_wcsicmp(entry.cFileName, L"..") == 0;
}
