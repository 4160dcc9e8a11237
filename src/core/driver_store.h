#pragma once

#include <windows.h>

// The folders of the Windows driver store that hold the files of Apple's USB and network drivers.

// Fixed like the names of the folders, so that a host can name the whole paths without asking the
// library. Where Windows is installed elsewhere, a repair finds no driver store and copies nothing.
inline constexpr const wchar_t* kDriverStoreRoot =
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\";

struct StoreFolderNames {
    const wchar_t* usb;
    const wchar_t* usb2;  // null where the system has no second USB folder
    const wchar_t* net;
};

// The names on Windows `major`.`minor`. Versions 6.0 and 6.1 have names of their own; every other
// version has those of Windows 8 and later.
[[nodiscard]] const StoreFolderNames& StoreFolderNamesOf(DWORD major, DWORD minor, bool is64Bit);
