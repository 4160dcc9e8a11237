#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

namespace installer {

// An INF file that the tool was given.
struct InfFile {
    std::wstring path;    // full
    std::wstring name;    // the last component of the path
    std::string content;  // every byte
};

struct InfReading {
    std::optional<InfFile> inf;
    std::wstring problem;  // why there is none, as a sentence
};

// Reads the INF file at `path` and lets the system parse it.
[[nodiscard]] InfReading ReadInf(const std::wstring& path);

// Every byte of the file at `path`. Empty, with the last error set, when it cannot be read or is
// larger than any INF file could be.
[[nodiscard]] std::optional<std::string> ReadBytes(const std::wstring& path);

}  // namespace installer
