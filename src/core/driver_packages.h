#pragma once

#include <string>

// Writes a formatted message to the channel of a driver package. In the format, %s names a wide
// string.
using MessageChannel = void (*)(const wchar_t* format, ...);

// One text for x64 and Itanium Windows, and one for every other Windows (see IsOs64Bit).
struct ByBitness {
    const wchar_t* on64Bit;
    const wchar_t* on32Bit;

    [[nodiscard]] const wchar_t* For(bool is64Bit) const { return is64Bit ? on64Bit : on32Bit; }
};

// What distinguishes one driver package from the others. Folders and names begin with a backslash.
struct DriverPackage {
    const wchar_t* installedFolder;  // where Apple's own software installs the INF file, without
                                     // the drive; null for a package that is always staged
    ByBitness stagedFolder;          // relative to the staging folder
    ByBitness infName;
    std::wstring* rememberedInf;     // the path of the staged INF file that the process remembers;
                                     // null for a package that is staged on every call
    bool remembersFallback = false;  // whether an empty remembered path is set to the INF file in
                                     // the staging folder
    MessageChannel report;
    const wchar_t* announcement;  // message before the staged INF file is looked for; null for none
    const wchar_t* infMissing;    // message about a missing INF file; all messages contain a path
    const wchar_t* toolMissing;   // message about a missing installer tool

    // Where Apple's own software installs the INF file on the drive `drivePrefix`, whether or not
    // the file exists. Empty for a package that is always staged.
    [[nodiscard]] std::wstring InstalledInf(const std::wstring& drivePrefix, bool is64Bit) const;

    // The package's folder, and its INF file, in the staging folder `stagingDir`, whether or not
    // they exist. With an empty `stagingDir` the path begins with a backslash.
    [[nodiscard]] std::wstring StagedFolder(const std::wstring& stagingDir, bool is64Bit) const;
    [[nodiscard]] std::wstring StagedInf(const std::wstring& stagingDir, bool is64Bit) const;
};

extern const DriverPackage kUsbPackage;
extern const DriverPackage kNetPackage;
extern const DriverPackage kKisPackage;
extern const DriverPackage kRsmPackage;
extern const DriverPackage kAppleUsbDevicePackage;
