#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "mendloftctl/exit_status.h"
#include "mendloftctl/library_functions.h"

namespace ctl {

// The meaning of one number that the library returns.
struct Meaning {
    ResultKind results;
    std::int32_t code;
    ExitStatus status;
    std::string_view sentence;

    // Whether the library reports success with this number.
    [[nodiscard]] bool IsSuccess() const { return status == ExitStatus::kSuccess; }
};

// The meanings of all numbers that the library is known to return.
[[nodiscard]] std::span<const Meaning> AllMeanings();

// The meaning of `code` as a result of that kind. A number that is not listed has the status
// kUnknownCode and a sentence that says so.
[[nodiscard]] const Meaning& MeaningOf(ResultKind results, std::int32_t code);

}  // namespace ctl
