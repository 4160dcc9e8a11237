#pragma once

#include <string>
#include <string_view>

#include "platform/unique_handle.h"

namespace installer {

// Tells people what happens: on standard output, if the tool has one, and in the log file, if one
// was asked for. The setup flows start the tool without a window and look at nothing it says.
class Report {
public:
    // Appends to the file at `path`, beginning with a line of its own. Returns false when the file
    // cannot be written.
    [[nodiscard]] bool OpenLog(const std::wstring& path, std::wstring_view firstLine);

    // Writes `message`, which may be several lines, and ends its last line.
    void Say(std::wstring_view message);

private:
    void Log(std::wstring_view message);

    UniqueFile log_;
};

}  // namespace installer
