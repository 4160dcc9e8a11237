#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "mendloftctl/arguments.h"
#include "mendloftctl/exit_status.h"
#include "mendloftctl/library_call.h"

namespace ctl {

// What is told about one call.
struct CallReport {
    Arguments arguments;
    std::wstring library;  // full path
    CallOutcome outcome;
    std::vector<TraceLine> lines;  // of a traced call
};

[[nodiscard]] ExitStatus StatusOf(const CallReport& report);

// One sentence on what came of the call, and on what to do when it did not get an answer.
[[nodiscard]] std::string SentenceOn(const CallReport& report);

[[nodiscard]] std::string ToText(const CallReport& report);
[[nodiscard]] nlohmann::ordered_json ToJson(const CallReport& report);

// As it is shown while the call goes on.
[[nodiscard]] std::string ToText(const TraceLine& line);

}  // namespace ctl
