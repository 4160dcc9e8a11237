#pragma once

namespace tools {

// Whether this process has the rights of an administrator now, which installing and removing driver
// packages takes. False also when the system cannot be asked.
[[nodiscard]] bool IsElevated();

}  // namespace tools
