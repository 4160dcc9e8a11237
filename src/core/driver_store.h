#pragma once

#include <windows.h>

// The folders of the Windows driver store that hold the files of Apple's USB and network drivers.

// Drive and folder are fixed rather than looked up, like the folder names.
inline constexpr const wchar_t* kDriverStoreRoot =
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\";

struct StoreFolderNames {
    const wchar_t* usb;
    const wchar_t* usb2;  // null where the system has no second USB folder
    const wchar_t* net;
};

// The names on Windows `major`.`minor`.
[[nodiscard]] const StoreFolderNames& StoreFolderNamesOf(DWORD major, DWORD minor, bool is64Bit);
