#pragma once

namespace installer {

// The exit codes of the tool. docs/inf-installer.md lists them for callers.
enum class ExitCode : int {
    kDone = 0,
    kWrongUsage = 1,
    kInfUnreadable = 2,
    kNotElevated = 3,
    kRefused = 4,  // by Windows; its message and code have been reported
    kDoneButRestartNeeded = 10,
};

}  // namespace installer
