#pragma once

#include <windows.h>

#include "support/import_patch.h"

// Wine's file streams hand the system the lower half of an offset only, and that as a signed
// number, so that they cannot go beyond 2 GB; those of Windows can go anywhere. Damaged archives
// ask for it, and then 7-Zip finds another way, unless the seek itself fails. This lets Wine's
// streams go up to 4 GB, which is as far as a Zip file or a cabinet can ask for.
class FarSeeks {
private:
    static DWORD WINAPI SetPointer(HANDLE file, LONG low, LONG* high, DWORD origin) {
        LONG none = 0;  // says that the lower half has no sign
        return ::SetFilePointer(file, low, high == nullptr && origin == FILE_BEGIN ? &none : high,
                                origin);
    }

    ImportPatch patch_{::GetModuleHandleW(L"shcore.dll"), "SetFilePointer",
                       reinterpret_cast<void*>(&SetPointer)};
};
