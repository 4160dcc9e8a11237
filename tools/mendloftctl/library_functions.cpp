#include "mendloftctl/library_functions.h"

#include <algorithm>

#include "core/driver_packages.h"

namespace ctl {

namespace {

constexpr LibraryFunction SetUp(const char* name, std::string_view package,
                                const DriverPackage& driverFiles) {
    return {name, ResultKind::kSetup, package, &driverFiles, true};
}

// One row for each driver package. The names of the packages are arguments of `setup`.
constexpr LibraryFunction kSetupFunctions[] = {
    SetUp("SetUpUSBDriver", "usb", kUsbPackage),
    SetUp("SetUpNetDriver", "net", kNetPackage),
    SetUp("SetUpKisDriver", "kis", kKisPackage),
    SetUp("SetUpRSMDriver", "rsm", kRsmPackage),
    SetUp("SetUpAppleUSBDeviceDriver", "appleusb", kAppleUsbDevicePackage),
};

}  // namespace

const LibraryFunction kMendloftFolder{"MendloftFolder", ResultKind::kFolder, "", nullptr, true};
const LibraryFunction kPortTest{"AMDPortTest", ResultKind::kPort, "", nullptr, false};

std::span<const LibraryFunction> SetupFunctions() {
    return kSetupFunctions;
}

const LibraryFunction* FindFunction(std::string_view name) {
    for (const LibraryFunction* function : {&kMendloftFolder, &kPortTest}) {
        if (function->name == name) return function;
    }
    const auto* const found =
        std::ranges::find_if(kSetupFunctions, [&](const auto& row) { return row.name == name; });
    return found == std::end(kSetupFunctions) ? nullptr : found;
}

}  // namespace ctl
