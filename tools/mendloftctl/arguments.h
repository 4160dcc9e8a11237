#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "mendloftctl/library_functions.h"

namespace ctl {

// What the program is asked to do.
struct Arguments {
    std::string command;  // as it was asked for, without its options: "setup usb --remove"
    const LibraryFunction* function = nullptr;  // null for `diagnose`
    std::int32_t argument = 0;                  // of the function
    std::wstring library;  // the path of the DLL as given; empty for the one beside the program
    bool json = false;
    bool trace = false;
    bool dryRun = false;
    bool isolated = false;
    std::chrono::seconds timeout{300};  // of an isolated call
};

struct ParsedArguments {
    Arguments arguments;
    std::string problem;  // one sentence about what is wrong; empty when all is well
    std::string help;     // what to show instead of doing anything; mostly empty
};

// Reads the program's arguments, which are UTF-8 and do not include its own name.
[[nodiscard]] ParsedArguments ParseArguments(const std::vector<std::string>& arguments);

}  // namespace ctl
