#pragma once

// How the program ends. From 10 on, the library was called and says that it did not succeed; the
// numbers are part of the program's interface and listed in docs/mendloftctl.md.

namespace ctl {

enum class ExitStatus : int {
    kSuccess = 0,
    kRefusedByWindows = 1,  // something that the program itself needs; its text has been told
    kWrongArguments = 2,
    kNotElevated = 3,
    kLibraryUnusable = 4,  // not there, not loadable, or without the function
    kTimeLimitPassed = 5,
    kCallCrashed = 6,  // the process of the call ended without an answer
    kInterrupted = 7,  // by Ctrl+C or the like
    kFailed = 10,
    kOldWindows = 11,
    kInfMissing = 12,
    kInstallerMissing = 13,
    kInstallerNotStarted = 14,
    kNobodyListens = 15,
    kUnknownCode = 19,
};

}  // namespace ctl
