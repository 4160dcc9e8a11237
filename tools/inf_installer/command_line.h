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

// The result of reading a command line.
struct ParsedCommandLine {
    Request request;       // after a problem: what was read before it, for the sake of the log
    std::wstring problem;  // what is wrong with the command line; empty when nothing is
};

// The help text, several lines without a line end after the last.
extern const std::wstring_view kUsage;

// Reads the raw command line of the process whose program file is `programPath`.
//
// The setup flows start the line with the program's path, unquoted even when it contains blanks,
// and quote the INF path without escaping anything in it. The usual splitting into words would cut
// the first path and could misread the second, so it must not happen before this. Here a double
// quote only starts or ends a stretch that may contain blanks, and a backslash is an ordinary
// character.
[[nodiscard]] ParsedCommandLine ParseCommandLine(std::wstring_view commandLine,
                                                 std::wstring_view programPath);

}  // namespace installer
