#include <windows.h>

#include <cwchar>

#include "platform/diagnostics.h"
#include "platform/directory_listing.h"
#include "repair/driver_copy.h"

namespace {

bool IsFile(const WIN32_FIND_DATAW& entry) {
    return !IsDirectory(entry) && std::wcscmp(entry.cFileName, L".") != 0 &&
           std::wcscmp(entry.cFileName, L"..") != 0;
}

// The steps of the driver copy as the system takes them.
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

    // Overwrites what is there; a copy that fails is not reported.
    static void Copy(const std::wstring& from, const std::wstring& to) {
        (void)::CopyFileW(from.c_str(), to.c_str(), FALSE);
    }

    // Says "usbapp" for the network files too: a host that watches the channel looks for this text.
    static void LogCopy(const std::wstring& to) {
        DebugLog(L"CopyDrivers usbapp :%s\n", to.c_str());
    }
};

}  // namespace

bool FixHelper::CopyDrivers() const {
    SystemSteps steps;
    return CopyStagedDrivers(steps, *this);
}
