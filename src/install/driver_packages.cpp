#include "install/driver_packages.h"

#include "api/library_state.h"
#include "platform/diagnostics.h"

// "exsit" in the two older packages' messages and "exist" in the newer ones' are both kept: hosts
// search the channels for these very texts.

const DriverPackage kUsbPackage{
    .installedInf =
        {L"\\Program Files\\Common Files\\Apple\\Mobile Device Support\\Drivers\\usbaapl64.inf",
         L"\\Program Files\\Common Files\\Apple\\Mobile Device Support\\Drivers\\usbaapl.inf"},
    .stagedInf = {L"\\usb\\x64\\usbaapl64.inf", L"\\usb\\x86\\usbaapl.inf"},
    .rememberedInf = &StagedUsbInfPath,
    .remembersFallback = true,
    .report = DebugLog,
    .announcement = nullptr,
    .infMissing = L"SetUpUsbDriver inf not exsit: %s\n",
    .toolMissing = L"SetUpUsbDriver InfInstaller not exsit: %s\n",
};

// Without a fallback: a removal does not copy drivers, so it finds no staged INF of this package.
const DriverPackage kNetPackage{
    .installedInf =
        {L"\\Program Files\\Common Files\\Apple\\Mobile Device Support\\NetDrivers\\netaapl64.inf",
         L"\\Program Files\\Common Files\\Apple\\Mobile Device Support\\NetDrivers\\netaapl.inf"},
    .stagedInf = {L"\\net\\x64\\netaapl64.inf", L"\\net\\x86\\netaapl.inf"},
    .rememberedInf = &StagedNetInfPath,
    .remembersFallback = false,
    .report = DebugLog,
    .announcement = nullptr,
    .infMissing = L"SetUpNetDriver inf not exsit: %s\n",
    .toolMissing = L"SetUpNetDriver InfInstaller not exsit: %s\n",
};

// The archive holds x64 files only for the three newer packages: on 32-bit Windows they end with a
// missing INF.
const DriverPackage kKisPackage{
    .installedInf = {},
    .stagedInf = {L"\\applekis\\x64\\AppleKIS.inf", L"\\applekis\\x86\\AppleKIS.inf"},
    .rememberedInf = nullptr,
    .report = ConsolePrintW,
    .announcement = L"SetUpKisDriver inf path: %s\n",
    .infMissing = L"SetUpKisDriver inf not exist: %s\n",
    .toolMissing = L"SetUpKisDriver InfInstaller not exist: %s\n",
};

const DriverPackage kRsmPackage{
    .installedInf = {},
    .stagedInf = {L"\\applersm\\x64\\AppleRSM.inf", L"\\applersm\\x86\\AppleRSM.inf"},
    .rememberedInf = nullptr,
    .report = ConsolePrintW,
    .announcement = L"SetUpRsmDriver inf path: %s\n",
    .infMissing = L"SetUpRsmDriver inf not exist: %s\n",
    .toolMissing = L"SetUpRsmDriver InfInstaller not exist: %s\n",
};

const DriverPackage kAppleUsbDevicePackage{
    .installedInf = {},
    .stagedInf = {L"\\appleusbdevice\\x64\\AppleUsb.inf", L"\\appleusbdevice\\x86\\AppleUsb.inf"},
    .rememberedInf = nullptr,
    .report = ConsolePrintW,
    .announcement = L"SetUpAppleUsbDeviceDriver inf path: %s\n",
    .infMissing = L"SetUpAppleUsbDeviceDriver inf not exist: %s\n",
    .toolMissing = L"SetUpAppleUsbDeviceDriver InfInstaller not exist: %s\n",
};
