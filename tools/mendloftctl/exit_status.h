#pragma once

// The exit status of the program. From 10 on, the library was called and reported a failure. The
// numbers are part of the program's interface and are listed in docs/mendloftctl.md.

namespace ctl {

// Tells a script what went wrong, so that it does not have to parse messages.
enum class ExitStatus : int {
    kSuccess = 0,
    kRefusedByWindows = 1,  // something that the program itself needs; the reason was reported
    kWrongArguments = 2,
    kNotElevated = 3,
    kLibraryUnusable = 4,  // missing, not loadable, or without the function
    kTimeLimitPassed = 5,
    kCallCrashed = 6,  // the process of the call ended without an answer
    kInterrupted = 7,  // by Ctrl+C, for example
    kCallRaised = 8,   // a C++ exception left the function
    kFailed = 10,
    kOldWindows = 11,
    kInfMissing = 12,
    kInstallerMissing = 13,
    kInstallerNotStarted = 14,
    kNobodyListens = 15,
    kUnknownCode = 19,
};

}  // namespace ctl
