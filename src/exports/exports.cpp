#include "mendloft/mendloft.h"

#include <cstdint>
#include <memory>
#include <new>

#include "core/boolean_argument.h"
#include "core/fix_helper.h"
#include "exports/host_exception.h"
#include "exports/stack_alignment.h"
#include "install/setup_flow.h"  // FixHelper's SetUp routines
#include "platform/diagnostics.h"
#include "repair/folder_repair.h"  // FixHelper::FixFolder
#include "telnet/port_probe.h"

// The functions that libmendloft.def exports. Each takes one 32-bit argument, which the caller
// removes from the stack, and returns the result of the one routine that it runs.

namespace {

using SetupRoutine = MendloftSetupResult (FixHelper::*)(std::int32_t repair);

std::int32_t RunSetup(SetupRoutine setUp, std::int32_t repair, const wchar_t* resultLine) {
    return WithExceptionsForTheHost([&]() -> std::int32_t {
        const auto helper = std::make_shared<FixHelper>();
        const MendloftSetupResult result = (*helper.*setUp)(repair);
        DebugLog(resultLine, result);
        return result;
    });
}

}  // namespace

extern "C" {

MENDLOFT_ALIGNS_STACK bool AMDPortTest(std::int32_t port) try {
    // Not used here. Every export holds a FixHelper while it runs, so whoever reads a host's crash
    // dump finds one for each call in progress.
    const auto helper = std::make_shared<FixHelper>();
    return TestServicePort(port);
} catch (const std::bad_alloc&) {
    return false;  // nothing was tested
}

MENDLOFT_ALIGNS_STACK std::int32_t MendloftFolder(std::int32_t repair) {
    return WithExceptionsForTheHost([&]() -> std::int32_t {
        const auto helper = std::make_shared<FixHelper>();
        return helper->FixFolder(IsTrue(repair), true);
    });
}

// The result lines are part of the library's interface: a program that searches the debugger output
// for one of them compares every letter. The first says "Usb", although its export says "USB".

MENDLOFT_ALIGNS_STACK std::int32_t SetUpUSBDriver(std::int32_t repair) {
    return RunSetup(&FixHelper::SetUpUsbDriver, repair, L"SetUpUsbDriver ret: %d");
}

MENDLOFT_ALIGNS_STACK std::int32_t SetUpNetDriver(std::int32_t repair) {
    return RunSetup(&FixHelper::SetUpNetDriver, repair, L"SetUpNetDriver ret: %d");
}

MENDLOFT_ALIGNS_STACK std::int32_t SetUpKisDriver(std::int32_t repair) {
    return RunSetup(&FixHelper::SetUpKisDriver, repair, L"SetUpKisDriver ret: %d");
}

MENDLOFT_ALIGNS_STACK std::int32_t SetUpRSMDriver(std::int32_t repair) {
    return RunSetup(&FixHelper::SetUpRsmDriver, repair, L"SetUpRSMDriver ret: %d");
}

MENDLOFT_ALIGNS_STACK std::int32_t SetUpAppleUSBDeviceDriver(std::int32_t repair) {
    return RunSetup(&FixHelper::SetUpAppleUsbDeviceDriver, repair,
                    L"SetUpAppleUSBDeviceDriver ret: %d");
}

}  // extern "C"
