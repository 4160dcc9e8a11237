#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "mendloftctl/exit_status.h"
#include "mendloftctl/library_functions.h"

namespace ctl {

// What one number that the library returns says.
struct Meaning {
    ResultKind results;
    std::int32_t code;
    ExitStatus status;
    std::string_view sentence;

    [[nodiscard]] bool IsSuccess() const { return status == ExitStatus::kSuccess; }
};

[[nodiscard]] std::span<const Meaning> AllMeanings();

// For a number that is not on the list: a sentence that says so.
[[nodiscard]] const Meaning& MeaningOf(ResultKind results, std::int32_t code);

}  // namespace ctl
