#pragma once

#include <windows.h>

#include <cstdint>

// Which Windows this is. Both probes ask Windows on every call and may be called from any thread.

// Stores the real version of Windows in `version`, not the one that Windows reports to a program
// without a compatibility manifest. Returns 1 when RtlGetVersion was called, whatever its status.
// Returns 0 and leaves `version` alone when Windows has no such function. The caller clears the
// record first.
std::int32_t GetOsVersion(RTL_OSVERSIONINFOW& version);

// The same in a fresh record. The version is 0.0 when Windows has no such function.
[[nodiscard]] RTL_OSVERSIONINFOW WindowsVersion();

// Whether Windows itself is 64-bit, also for a 32-bit process: true on x64 and Itanium, false on
// everything else, including ARM64.
[[nodiscard]] bool IsOs64Bit();
