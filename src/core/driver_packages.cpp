#include "core/driver_packages.h"

#include "core/library_state.h"
#include "platform/diagnostics.h"

// The messages of the two older packages say "exsit", those of the three newer ones "exist". The
// texts are part of the library's interface: a program that searches a channel for one of them
// compares every letter. So are the channels: the two older packages report to the debugger output,
// the newer ones to standard output.

const DriverPackage kUsbPackage{
    .installedFolder = L"\\Program Files\\Common Files\\Apple\\Mobile Device Support\\Drivers",
    .stagedFolder = {L"\\usb\\x64", L"\\usb\\x86"},
    .infName = {L"\\usbaapl64.inf", L"\\usbaapl.inf"},
    .rememberedInf = &StagedUsbInfPath,
    .remembersFallback = true,
    .report = DebugLog,
    .announcement = nullptr,
    .infMissing = L"SetUpUsbDriver inf not exsit: %s\n",
    .toolMissing = L"SetUpUsbDriver InfInstaller not exsit: %s\n",
};

// There is no fallback. A removal copies no drivers, so it finds an INF file only when one is
// installed or an earlier call of the process remembered one. Otherwise its result is
// kMendloftSetupInfMissing, by which a host knows that the installer tool was not started.
const DriverPackage kNetPackage{
    .installedFolder = L"\\Program Files\\Common Files\\Apple\\Mobile Device Support\\NetDrivers",
    .stagedFolder = {L"\\net\\x64", L"\\net\\x86"},
    .infName = {L"\\netaapl64.inf", L"\\netaapl.inf"},
    .rememberedInf = &StagedNetInfPath,
    .remembersFallback = false,
    .report = DebugLog,
    .announcement = nullptr,
    .infMissing = L"SetUpNetDriver inf not exsit: %s\n",
    .toolMissing = L"SetUpNetDriver InfInstaller not exsit: %s\n",
};

// The driver archive holds only x64 files of the three newer packages. On 32-bit Windows, and on
// ARM64, their setup ends with kMendloftSetupInfMissing.
const DriverPackage kKisPackage{
    .installedFolder = nullptr,
    .stagedFolder = {L"\\applekis\\x64", L"\\applekis\\x86"},
    .infName = {L"\\AppleKIS.inf", L"\\AppleKIS.inf"},
    .rememberedInf = nullptr,
    .report = ConsolePrintW,
    .announcement = L"SetUpKisDriver inf path: %s\n",
    .infMissing = L"SetUpKisDriver inf not exist: %s\n",
    .toolMissing = L"SetUpKisDriver InfInstaller not exist: %s\n",
};

const DriverPackage kRsmPackage{
    .installedFolder = nullptr,
    .stagedFolder = {L"\\applersm\\x64", L"\\applersm\\x86"},
    .infName = {L"\\AppleRSM.inf", L"\\AppleRSM.inf"},
    .rememberedInf = nullptr,
    .report = ConsolePrintW,
    .announcement = L"SetUpRsmDriver inf path: %s\n",
    .infMissing = L"SetUpRsmDriver inf not exist: %s\n",
    .toolMissing = L"SetUpRsmDriver InfInstaller not exist: %s\n",
};

const DriverPackage kAppleUsbDevicePackage{
    .installedFolder = nullptr,
    .stagedFolder = {L"\\appleusbdevice\\x64", L"\\appleusbdevice\\x86"},
    .infName = {L"\\AppleUsb.inf", L"\\AppleUsb.inf"},
    .rememberedInf = nullptr,
    .report = ConsolePrintW,
    .announcement = L"SetUpAppleUsbDeviceDriver inf path: %s\n",
    .infMissing = L"SetUpAppleUsbDeviceDriver inf not exist: %s\n",
    .toolMissing = L"SetUpAppleUsbDeviceDriver InfInstaller not exist: %s\n",
};

std::wstring DriverPackage::InstalledInf(const std::wstring& drivePrefix, bool is64Bit) const {
    if (installedFolder == nullptr) return {};
    return drivePrefix + installedFolder + infName.For(is64Bit);
}

std::wstring DriverPackage::StagedFolder(const std::wstring& stagingDir, bool is64Bit) const {
    return stagingDir + stagedFolder.For(is64Bit);
}

std::wstring DriverPackage::StagedInf(const std::wstring& stagingDir, bool is64Bit) const {
    return StagedFolder(stagingDir, is64Bit) + infName.For(is64Bit);
}
