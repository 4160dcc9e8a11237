#pragma once

#include <string>

namespace ctl {

inline constexpr const wchar_t* kDeviceServiceName = L"Apple Mobile Device Service";

// What the service manager says about that service, in one word or two ("running", "not
// installed"); or why it could not be asked.
[[nodiscard]] std::string DeviceServiceState();

}  // namespace ctl
