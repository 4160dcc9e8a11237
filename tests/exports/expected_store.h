#pragma once

#include <string>
#include <vector>

#include "support/fake_os.h"

// The driver-store folders for the Windows version and bitness of the prefix.
struct ExpectedStore {
    std::vector<std::wstring> usb;  // one or two
    std::wstring net;
};

[[nodiscard]] inline ExpectedStore StoreOfThisPrefix() {
    const bool vistaOr7 = PrefixVersion() == "6.0" || PrefixVersion() == "6.1";
    if (PrefixIs64Bit() && vistaOr7) {
        return {{L"usbaapl64.inf_amd64_neutral_c0e4d8c2aef471b7",
                 L"usbaapl64.inf_amd64_neutral_14c8400756ec0e3b"},
                L"netaapl64.inf_amd64_neutral_56f23639c9617984"};
    }
    if (PrefixIs64Bit()) {
        return {{L"usbaapl64.inf_amd64_c0e4d8c2aef471b7"}, L"netaapl64.inf_amd64_56f23639c9617984"};
    }
    if (vistaOr7) {
        return {{L"usbaapl.inf_x86_neutral_e165816441187e06",
                 L"usbaapl.inf_x86_neutral_b11f4eb7484c8d3b"},
                L"netaapl.inf_x86_neutral_84f98e613445a1f8"};
    }
    return {{L"usbaapl.inf_x86_e165816441187e06", L"usbaapl.inf_x86_b11f4eb7484c8d3b"},
            L"netaapl.inf_x86_84f98e613445a1f8"};
}

// The library does nothing on Windows XP.
[[nodiscard]] inline bool PrefixIsTooOld() {
    return PrefixVersion() == "5.1";
}
