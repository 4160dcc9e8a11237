#pragma once

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "mendloftctl/arguments.h"
#include "mendloftctl/exit_status.h"
#include "mendloftctl/library_call.h"

namespace ctl {

// Everything that is reported about one call.
struct CallReport {
    Arguments arguments;
    std::wstring library;  // full path
    CallOutcome outcome;
    std::vector<TraceLine> lines;  // of a traced call, in the order in which they were written
};

// The status that the program ends with after the call.
[[nodiscard]] ExitStatus StatusOf(const CallReport& report);

// The meaning of the result in a sentence; when the function did not return, why, and what to do.
[[nodiscard]] std::string SentenceOn(const CallReport& report);

// The line that standard output gets about a call whose function returned.
[[nodiscard]] std::string ToText(const CallReport& report);

// The document about any call. Its keys are listed in docs/mendloftctl.md.
[[nodiscard]] nlohmann::ordered_json ToJson(const CallReport& report);

// The line as it is shown while the call runs: its channel and its text.
[[nodiscard]] std::string ToText(const TraceLine& line);

}  // namespace ctl
