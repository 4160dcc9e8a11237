#pragma once

#include <string>

// Writes a formatted message to where a driver package's messages go.
using MessageChannel = void (*)(const wchar_t* format, ...);

// One text for 64-bit Windows and one for every other.
struct ByBitness {
    const wchar_t* on64Bit;
    const wchar_t* on32Bit;

    [[nodiscard]] const wchar_t* For(bool is64Bit) const { return is64Bit ? on64Bit : on32Bit; }
};

// What sets one driver package apart from the others.
struct DriverPackage {
    const wchar_t* installedFolder;  // where Apple's own software puts the INF file, without the
                                     // drive; null for packages that are always staged
    ByBitness stagedFolder;          // relative to the staging folder
    ByBitness infName;
    std::wstring* rememberedInf;  // the staged INF path that the process remembers; null where the
                                  // archive is staged on every call
    bool remembersFallback = false;  // whether an empty remembered path is filled from the staging
                                     // folder
    MessageChannel report;
    const wchar_t* announcement;  // written before the search for a staged INF; null for none
    const wchar_t* infMissing;    // the messages about the two missing files, each with a path
    const wchar_t* toolMissing;

    // The INF file that Apple's own software installs on the drive `drivePrefix`; empty when it
    // installs none.
    [[nodiscard]] std::wstring InstalledInf(const std::wstring& drivePrefix, bool is64Bit) const;

    // Folder and INF file in the staging folder `stagingDir`. An empty `stagingDir` gives a path
    // that begins with a backslash.
    [[nodiscard]] std::wstring StagedFolder(const std::wstring& stagingDir, bool is64Bit) const;
    [[nodiscard]] std::wstring StagedInf(const std::wstring& stagingDir, bool is64Bit) const;
};

extern const DriverPackage kUsbPackage;
extern const DriverPackage kNetPackage;
extern const DriverPackage kKisPackage;
extern const DriverPackage kRsmPackage;
extern const DriverPackage kAppleUsbDevicePackage;
