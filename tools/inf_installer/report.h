#pragma once

#include <string>
#include <string_view>

#include "platform/unique_handle.h"

namespace installer {

// Writes the tool's messages to standard output, if the process has one, and to the log file, if
// one was asked for. A tool that a setup flow started without a window has no visible output, so
// the log is then the only place for its messages.
class Report {
public:
    // Writes to the file at `path` from now on, after what the file contains already. `firstLine`
    // is logged at once. Returns false when the file cannot be opened; messages then go to standard
    // output only.
    [[nodiscard]] bool OpenLog(const std::wstring& path, std::wstring_view firstLine);

    // Writes `message`, whose lines are separated by '\n', and ends the last of them. In the log
    // each line starts with the local time.
    void Say(std::wstring_view message);

private:
    void Log(std::wstring_view message);

    UniqueFile log_;
};

}  // namespace installer
