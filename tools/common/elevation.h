#pragma once

namespace tools {

// Whether this process has administrator rights at the moment. Installing and removing driver
// packages needs them. Also false when Windows cannot answer.
[[nodiscard]] bool IsElevated();

}  // namespace tools
