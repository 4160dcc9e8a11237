#pragma once

#include <string>

namespace ctl {

// The name under which Apple's software registers its service.
inline constexpr const wchar_t* kDeviceServiceName = L"Apple Mobile Device Service";

// The state of that service in one word or two ("running", "not installed"), or why it could not be
// queried. Needs no administrator rights.
[[nodiscard]] std::string DeviceServiceState();

}  // namespace ctl
