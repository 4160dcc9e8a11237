#pragma once

#include <windows.h>

#include <cstdint>

// What Windows this is. Both probes ask the system anew on every call and may be called from any
// thread.

// Fills `version` with the version that Windows really has, not the one that a program without a
// compatibility manifest is told. Returns 1 when the system could be asked and 0 when it offers no
// way to, in which case `version` is untouched. The caller clears the record beforehand.
std::int32_t GetOsVersion(RTL_OSVERSIONINFOW& version);

// Whether Windows itself is 64-bit (x64 or Itanium), also when asked from a 32-bit process.
[[nodiscard]] bool IsOs64Bit();
