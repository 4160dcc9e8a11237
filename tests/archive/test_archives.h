#pragma once

#include <windows.h>

#include <algorithm>
#include <string>

#include "support/wine.h"

// The Windows path of a file that make_archives.py made.
[[nodiscard]] inline std::wstring TestArchive(const std::string& name) {
    const std::string path = std::string(MENDLOFT_TEST_ARCHIVES "/") + name;
    std::wstring result(path.begin(), path.end());
    if (result.starts_with(L'/')) result = L"Z:" + result;  // Wine's name for the Unix root
    std::ranges::replace(result, L'/', L'\\');
    return result;
}

// Whether the file can be opened for exclusive use, so that nothing else has it open.
[[nodiscard]] inline bool IsNotInUse(const std::wstring& path) {
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_READ, /*dwShareMode=*/0, nullptr,
                                      OPEN_EXISTING, 0, nullptr);
    return file != INVALID_HANDLE_VALUE && ::CloseHandle(file);
}
