#pragma once

namespace installer {

// How the tool ends.
enum class ExitCode : int {
    kDone = 0,
    kWrongUsage = 1,
    kInfUnreadable = 2,
    kNotElevated = 3,
    kRefused = 4,  // by Windows; its text and code have been told
    kDoneButRestartNeeded = 10,
};

}  // namespace installer
