#pragma once

#include <string>

// Writes a formatted message to the channel of a driver package.
using Report = void (*)(const wchar_t* format, ...);

// One text for 64-bit Windows and one for every other.
struct ByBitness {
    const wchar_t* on64Bit;
    const wchar_t* on32Bit;

    [[nodiscard]] const wchar_t* For(bool is64Bit) const { return is64Bit ? on64Bit : on32Bit; }
    [[nodiscard]] bool Exists() const { return on64Bit != nullptr; }
};

// What tells the setup of one driver package from that of another.
struct DriverPackage {
    ByBitness installedInf;       // where Apple's own software puts the INF file, behind the drive;
                                  // none for packages that are always taken from the staged archive
    ByBitness stagedInf;          // the INF file behind the staging folder
    std::wstring* rememberedInf;  // the staged INF path that the process remembers; null where the
                                  // archive is staged on every call
    bool remembersFallback = false;  // whether an empty remembered path is filled from the staging
                                     // folder
    Report report;                   // where messages go
    const wchar_t*
        announcement;  // the message in front of the search for a staged INF; null for none
    const wchar_t* infMissing;  // the messages of the two missing files, each with a path
    const wchar_t* toolMissing;
};

extern const DriverPackage kUsbPackage;
extern const DriverPackage kNetPackage;
extern const DriverPackage kKisPackage;
extern const DriverPackage kRsmPackage;
extern const DriverPackage kAppleUsbDevicePackage;
