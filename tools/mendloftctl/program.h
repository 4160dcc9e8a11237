#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace ctl {

// What the program gets from its environment, so that tests can run it without a process.
struct Surroundings {
    std::wstring program;                                    // the full path of mendloftctl.exe
    std::function<void(std::string_view utf8)> printResult;  // to standard output
    std::function<void(std::string_view utf8)> printNote;    // to standard error
};

// Does what the arguments (UTF-8, without the program's own name) ask for. Returns the exit status
// of the program (exit_status.h). May take as long as the library's function takes.
[[nodiscard]] int RunProgram(const std::vector<std::string>& arguments,
                             const Surroundings& surroundings);

}  // namespace ctl
