#pragma once

#include <string>
#include <string_view>

namespace installer {

// What the tool is asked to do.
struct Request {
    enum class Action { kNone, kHelp, kInstall, kRemove };

    Action action = Action::kNone;
    std::wstring infPath;  // as given; empty for help
    std::wstring logPath;  // empty when no log is wanted
    bool dryRun = false;
};

struct ParsedCommandLine {
    Request request;       // when there is a problem: as far as it was understood
    std::wstring problem;  // one sentence about what is wrong; empty when all is well
};

// How the tool is called, for people.
extern const std::wstring_view kUsage;

// Reads the raw command line of the process whose program file is `programPath`.
//
// The command line has to be the raw one: the setup flows put the program's path in front unquoted,
// blanks and all, and quote the INF path without escaping anything in it, so that the usual
// splitting into words would cut the first and could misread the second. A double quote therefore
// only ever starts or ends a stretch in which blanks are kept, and backslashes mean themselves.
[[nodiscard]] ParsedCommandLine ParseCommandLine(std::wstring_view commandLine,
                                                 std::wstring_view programPath);

}  // namespace installer
