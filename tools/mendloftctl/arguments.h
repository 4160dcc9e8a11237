#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "mendloftctl/library_functions.h"

namespace ctl {

// What the program is asked to do.
struct Arguments {
    std::string command;  // in the words of the user, without options: "setup usb --remove"
    const LibraryFunction* function = nullptr;  // null for `diagnose`
    std::int32_t argument = 0;                  // of the function
    std::wstring library;  // the DLL's path as given, possibly relative; empty for the one beside
                           // the program
    bool json = false;
    bool trace = false;
    bool dryRun = false;
    bool isolated = false;
    std::chrono::seconds timeout{300};  // of an isolated call
};

// The result of reading the arguments: something to do, a problem or a help text.
struct ParsedArguments {
    Arguments arguments;  // of use only when the other two are empty
    std::string problem;  // what is wrong, without a full stop at the end
    std::string help;     // the text to print instead of doing anything
};

// Reads the program's arguments, which are UTF-8 and do not include its own name. Does not look at
// the disk: whether the library exists is not known afterwards.
[[nodiscard]] ParsedArguments ParseArguments(const std::vector<std::string>& arguments);

}  // namespace ctl
