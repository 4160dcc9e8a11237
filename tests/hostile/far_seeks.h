#pragma once

#include <windows.h>

#include "support/import_patch.h"

// Wine's file streams pass only the lower half of an offset to SetFilePointer, and as a signed
// number, so they cannot seek beyond 2 GB. Those of Windows can. Damaged archives ask for such
// offsets, and 7-Zip copes with them only when the seek itself succeeds. This class lets Wine's
// streams seek up to 4 GB, which is as far as a Zip file or a cabinet can ask for.
//
// Wine takes the position 0xFFFFFFFF, the largest of these, for a failure. The one before it is
// reported instead. No archive of the tests is nearly as long, so neither has anything to read.
class FarSeeks {
private:
    static DWORD WINAPI SetPointer(HANDLE file, LONG low, LONG* high, DWORD origin) {
        if (high != nullptr || origin != FILE_BEGIN) {
            return ::SetFilePointer(file, low, high, origin);
        }
        LONG none = 0;  // makes the lower half unsigned
        const DWORD position = ::SetFilePointer(file, low, &none, origin);
        const bool isLast = position == INVALID_SET_FILE_POINTER && low == -1;
        return isLast ? position - 1 : position;
    }

    ImportPatch patch_{::GetModuleHandleW(L"shcore.dll"), "SetFilePointer",
                       reinterpret_cast<void*>(&SetPointer)};
};
