#pragma once

#include <string>
#include <vector>

#include "support/recorded_calls.h"

// Tells recorded calls of the library in the words of a plan: "action|what" or "action|what|to" for
// each step that was taken, in the order of the steps.
//
// A step takes one call or several; the table in taken_steps.cpp says which calls belong together.
// A call that fits nowhere is a step of its own, named after its function, which no plan has.
[[nodiscard]] std::vector<std::wstring> StepsTaken(const std::vector<RecordedCall>& calls);
