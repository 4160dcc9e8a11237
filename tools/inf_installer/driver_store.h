#pragma once

#include <windows.h>

#include <optional>
#include <string>

// The system calls on driver packages. None has a time limit, and an installation waits while
// Windows asks the user whether to trust the publisher.

namespace installer {

// The result of one such call.
struct CallResult {
    DWORD error = ERROR_SUCCESS;  // ERROR_SUCCESS when the call succeeded
    bool restartNeeded = false;   // whether Windows completes the change at its next start only
};

// Adds the package of the INF file at the full path `infPath` to the driver store and installs it
// on the present devices for which it is the best one. Empty where Windows has no such function.
[[nodiscard]] std::optional<CallResult> InstallOnDevices(const std::wstring& infPath);

// Only adds the package to the driver store. Devices use it after Windows has rescanned them.
[[nodiscard]] CallResult AddToDriverStore(const std::wstring& infPath);

// Uninstalls the package published at the full path `publishedPath` from the devices that use it,
// and removes it from the driver store. Empty where Windows has no such function.
[[nodiscard]] std::optional<CallResult> UninstallFromDevices(const std::wstring& publishedPath);

// Removes the package published as `name` ("oem3.inf") from the driver store, even when devices use
// it.
[[nodiscard]] CallResult RemoveFromDriverStore(const std::wstring& name);

}  // namespace installer
