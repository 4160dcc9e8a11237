#include "core/driver_store.h"

namespace {

// A repair creates exactly the folders of one row, and a removal deletes exactly these. 64-bit
// Windows 8 and later has no second USB folder, all other systems have one. A name has the same
// hash with and without "neutral".
constexpr StoreFolderNames kNames[][2] = {
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

const StoreFolderNames& StoreFolderNamesOf(DWORD major, DWORD minor, bool is64Bit) {
    const bool isVistaOr7 = major == 6 && minor < 2;
    return kNames[isVistaOr7 ? 0 : 1][is64Bit ? 1 : 0];
}
