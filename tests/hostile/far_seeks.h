#pragma once

#include <windows.h>

#include "support/import_patch.h"

// Wine's file streams pass only the lower half of an offset to SetFilePointer, and as a signed
// number, so they cannot seek beyond 2 GB. Those of Windows can. Damaged archives ask for such
// offsets, and 7-Zip copes with them only when the seek itself succeeds. This class lets Wine's
// streams seek up to 4 GB, which is as far as a Zip file or a cabinet can ask for.
class FarSeeks {
private:
    static DWORD WINAPI SetPointer(HANDLE file, LONG low, LONG* high, DWORD origin) {
        LONG none = 0;  // makes the lower half unsigned
        return ::SetFilePointer(file, low, high == nullptr && origin == FILE_BEGIN ? &none : high,
                                origin);
    }

    ImportPatch patch_{::GetModuleHandleW(L"shcore.dll"), "SetFilePointer",
                       reinterpret_cast<void*>(&SetPointer)};
};
