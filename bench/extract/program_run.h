#pragma once

#include <string>

// The result of a program that has ended.
struct ProgramRun {
    double milliseconds;  // from just before its start to its end
    std::string output;
};

// Runs a program to its end. Throws std::runtime_error if it cannot be started or its exit code is
// not 0.
[[nodiscard]] ProgramRun RunProgram(const std::wstring& commandLine);
