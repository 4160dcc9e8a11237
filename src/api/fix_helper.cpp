#include "api/fix_helper.h"

#include "platform/os_probes.h"

namespace {

// Drive and folder are fixed rather than looked up, as the folder names below are.
constexpr const wchar_t* kDriverStoreRoot = L"C:\\Windows\\System32\\DriverStore\\FileRepository\\";

struct StoreNames {
    const wchar_t* usb;
    const wchar_t* usb2;  // null where the system has no second USB folder
    const wchar_t* net;
};

// Lopsided on purpose: from Windows 8 on, 64-bit systems have no second USB folder but 32-bit ones
// do. The hashes are the same with and without "neutral".
constexpr StoreNames kStoreNames[][2] = {
    // Windows Vista and 7: 32-bit, 64-bit
    {{L"usbaapl.inf_x86_neutral_e165816441187e06", L"usbaapl.inf_x86_neutral_b11f4eb7484c8d3b",
      L"netaapl.inf_x86_neutral_84f98e613445a1f8"},
     {L"usbaapl64.inf_amd64_neutral_c0e4d8c2aef471b7",
      L"usbaapl64.inf_amd64_neutral_14c8400756ec0e3b",
      L"netaapl64.inf_amd64_neutral_56f23639c9617984"}},
    // every other version: 32-bit, 64-bit
    {{L"usbaapl.inf_x86_e165816441187e06", L"usbaapl.inf_x86_b11f4eb7484c8d3b",
      L"netaapl.inf_x86_84f98e613445a1f8"},
     {L"usbaapl64.inf_amd64_c0e4d8c2aef471b7", nullptr, L"netaapl64.inf_amd64_56f23639c9617984"}},
};

}  // namespace

void FixHelper::InitStorePaths(const DWORD& major, const DWORD& minor) {
    const bool vistaOr7 = major == 6 && minor < 2;
    const StoreNames& names = kStoreNames[vistaOr7 ? 0 : 1][IsOs64Bit() ? 1 : 0];

    usbStoreName = names.usb;
    netStoreName = names.net;
    if (names.usb2 != nullptr) usbStoreName2 = names.usb2;

    usbStorePath = kDriverStoreRoot + usbStoreName;
    netStorePath = kDriverStoreRoot + netStoreName;
    if (!usbStoreName2.empty()) usbStorePath2 = kDriverStoreRoot + usbStoreName2;
}
