#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace ctl {

// What the program works with from outside of itself.
struct Surroundings {
    std::wstring program;                                    // the full path of mendloftctl.exe
    std::function<void(std::string_view utf8)> printResult;  // to standard output
    std::function<void(std::string_view utf8)> printNote;    // to standard error
};

// Does what the arguments (UTF-8, without the program's own name) ask for. Returns what the program
// is to end with.
[[nodiscard]] int RunProgram(const std::vector<std::string>& arguments,
                             const Surroundings& surroundings);

}  // namespace ctl
