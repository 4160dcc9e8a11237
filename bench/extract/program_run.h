#pragma once

#include <string>

// What a run of a program took and wrote.
struct ProgramRun {
    double milliseconds;  // from before its start until after its end
    std::string output;
};

// Runs a program until it ends. Throws a std::runtime_error when it cannot be started or does not
// end with code 0.
[[nodiscard]] ProgramRun RunProgram(const std::wstring& commandLine);
