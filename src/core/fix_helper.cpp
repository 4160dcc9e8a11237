#include "core/fix_helper.h"

#include "core/driver_store.h"
#include "platform/os_probes.h"

void FixHelper::InitStorePaths(const DWORD& major, const DWORD& minor) {
    const StoreFolderNames& names = StoreFolderNamesOf(major, minor, IsOs64Bit());

    usbStoreName = names.usb;
    netStoreName = names.net;
    if (names.usb2 != nullptr) usbStoreName2 = names.usb2;

    usbStorePath = kDriverStoreRoot + usbStoreName;
    netStorePath = kDriverStoreRoot + netStoreName;
    if (!usbStoreName2.empty()) usbStorePath2 = kDriverStoreRoot + usbStoreName2;
}

std::vector<std::wstring> FixHelper::StorePaths() const {
    std::vector<std::wstring> paths{usbStorePath, usbStorePath2, netStorePath};
    std::erase(paths, L"");
    return paths;
}
