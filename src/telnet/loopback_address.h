#pragma once

namespace TELNET {

// The one address that a client connects to.
inline constexpr char kLoopbackAddress[] = "127.0.0.1";

}  // namespace TELNET
