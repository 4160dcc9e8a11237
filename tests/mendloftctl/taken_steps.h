#pragma once

#include <string>
#include <vector>

#include "support/recorded_calls.h"

// Translates recorded calls of the library into the steps of a plan: "action|what" or
// "action|what|to" for each step that was taken, in the order of the steps.
//
// A step consists of one call or several; the table in taken_steps.cpp says which calls belong
// together. A call that fits no rule becomes a step of its own, named after its function. No plan
// contains such a step.
[[nodiscard]] std::vector<std::wstring> StepsTaken(const std::vector<RecordedCall>& calls);
