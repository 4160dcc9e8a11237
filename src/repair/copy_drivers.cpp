#include <windows.h>

#include "platform/diagnostics.h"
#include "platform/directory_listing.h"
#include "repair/driver_copy.h"

namespace {

bool IsFile(const WIN32_FIND_DATAW& entry) {
    return !IsDirectory(entry) && !IsSelfOrParent(entry);
}

// Carries out the steps of the driver copy on this system.
struct SystemSteps {
    static void Remember(const DriverPackage& package, const std::wstring& inf) {
        *package.rememberedInf = inf;
    }

    static bool Exists(const std::wstring& path) { return FileOrFolderExists(path); }

    template <typename Visit>
    static bool ForEachFile(const std::wstring& folder, Visit visit) {
        return ForEachEntry(folder + L"\\*", [&](const WIN32_FIND_DATAW& entry) {
            if (IsFile(entry)) visit(entry.cFileName);
        });
    }

    // Overwrites an existing file. A copy that fails is not reported.
    static void Copy(const std::wstring& from, const std::wstring& to) {
        (void)::CopyFileW(from.c_str(), to.c_str(), FALSE);
    }

    // The text says "usbapp" for the files of both drivers, so a program that filters the debugger
    // output by it gets the line of every file.
    static void LogCopy(const std::wstring& to) {
        DebugLog(L"CopyDrivers usbapp :%s\n", to.c_str());
    }
};

}  // namespace

bool FixHelper::CopyDrivers() const {
    SystemSteps steps;
    return CopyStagedDrivers(steps, *this);
}
