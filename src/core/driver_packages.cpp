#include "core/driver_packages.h"

#include "core/library_state.h"
#include "platform/diagnostics.h"

// The two older packages' messages say "exsit", the newer ones' say "exist". The texts are an
// interface: a host that searches a channel for one of them matches every letter.

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

// Has no fallback, and a removal does not copy drivers: such a call finds no staged INF file and
// ends with kMendloftSetupInfMissing.
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

// The archive holds x64 files only for the three newer packages: on 32-bit Windows their setup ends
// with kMendloftSetupInfMissing.
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
