#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

// A call of the sweep: an export with an argument, in a situation that decides what it does.
struct Subject {
    enum class Port { kNone, kOpen, kClosed };

    const char* exportName;
    const char* situation;
    std::int32_t argument;
    Port port = Port::kNone;     // for AMDPortTest, instead of the argument
    bool crashReporter = false;  // a WerFault.exe is running
    bool staged = false;         // files lie in the staging folder, and folders in the driver store
    bool infInstalled = false;   // Apple's software is installed
    std::initializer_list<std::int32_t> documented;

    [[nodiscard]] bool RepairsFolders() const { return port == Port::kNone; }
    [[nodiscard]] bool IsSetup() const { return std::string_view(exportName).starts_with("SetUp"); }
};

// Every export, with arguments and situations that lead to different paths through it.
[[nodiscard]] std::span<const Subject> Subjects();
