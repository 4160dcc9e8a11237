#pragma once

#include <cstdint>
#include <span>
#include <string_view>

struct DriverPackage;

// The functions that libmendloft.dll exports, as a program that loads it at run time sees them.

namespace ctl {

// The six repair and setup functions; the argument is a boolean.
using RepairFunction = std::int32_t (*)(std::int32_t repair);
// AMDPortTest; the result is a boolean of one byte.
using PortFunction = std::uint8_t (*)(std::int32_t port);

// What the numbers that a function returns mean (meanings.h has the list).
enum class ResultKind { kFolder, kSetup, kPort };

struct LibraryFunction {
    const char* name;  // as it is exported
    ResultKind results;
    std::string_view package;          // what `setup` calls its driver package; empty for others
    const DriverPackage* driverFiles;  // null where the function sets up none
    bool changesTheSystem;             // and so needs the rights of an administrator
};

extern const LibraryFunction kMendloftFolder;
extern const LibraryFunction kPortTest;
[[nodiscard]] std::span<const LibraryFunction> SetupFunctions();

// All seven; null when none has that name.
[[nodiscard]] const LibraryFunction* FindFunction(std::string_view name);

}  // namespace ctl
