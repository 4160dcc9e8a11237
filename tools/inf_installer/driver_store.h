#pragma once

#include <windows.h>

#include <optional>
#include <string>

// The system's calls on driver packages.

namespace installer {

struct CallResult {
    DWORD error = ERROR_SUCCESS;
    bool restartNeeded = false;
};

// Adds the package of the INF file at the full path `infPath` to the driver store and installs it
// on the devices present for which it is the best one. Empty where Windows has no such function.
[[nodiscard]] std::optional<CallResult> InstallOnDevices(const std::wstring& infPath);

// Only adds the package to the driver store; devices take it when they are next looked for.
[[nodiscard]] CallResult AddToDriverStore(const std::wstring& infPath);

// Takes the package published at the full path `publishedPath` from the devices that use it and
// removes it from the driver store. Empty where Windows has no such function.
[[nodiscard]] std::optional<CallResult> UninstallFromDevices(const std::wstring& publishedPath);

// Removes the package published as `name` from the driver store, also when devices use it.
[[nodiscard]] CallResult RemoveFromDriverStore(const std::wstring& name);

}  // namespace installer
