#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

#include "mendloft/mendloft.h"

struct DriverPackage;

// The functions that libmendloft.dll exports, for a program that loads the DLL at run time.

namespace ctl {

// The type of the six repair and setup functions.
using RepairFunction = MendloftFolderFunction;
static_assert(std::is_same_v<RepairFunction, MendloftSetupFunction>);
// The type of AMDPortTest, except that the result is read as a byte: another library may return one
// that is neither 0 nor 1, and such a bool is undefined behaviour.
using PortFunction = std::uint8_t(__cdecl*)(std::int32_t port);

// Which numbers a function returns. Their meanings are listed in meanings.cpp.
enum class ResultKind { kFolder, kSetup, kPort };

// One exported function.
struct LibraryFunction {
    const char* name;  // under which it is exported
    ResultKind results;
    std::string_view package;          // its driver package as an argument of `setup`, or empty
    const DriverPackage* driverFiles;  // that package in the library's tables, or null
    bool changesTheSystem;             // and so needs administrator rights
};

// The two functions that do not set up a driver package, and the five that do, in the order in
// which the help and the diagnosis list the packages.
extern const LibraryFunction kMendloftFolder;
extern const LibraryFunction kPortTest;
[[nodiscard]] std::span<const LibraryFunction> SetupFunctions();

// The one of all seven that is exported as `name`; null when there is none.
[[nodiscard]] const LibraryFunction* FindFunction(std::string_view name);

}  // namespace ctl
