#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

namespace installer {

// The INF file that the tool was given.
struct InfFile {
    std::wstring path;    // full
    std::wstring name;    // the last component of the path
    std::string content;  // every byte of the file
};

// The result of reading an INF file: the file or a problem.
struct InfReading {
    std::optional<InfFile> inf;
    std::wstring problem;  // a sentence; empty when there is a file
};

// Reads the INF file at `path`, which may be relative, and has SetupAPI check its syntax. Its
// catalog and the other files of the package are not looked at.
[[nodiscard]] InfReading ReadInf(const std::wstring& path);

// The path of a file that [SourceDisksFiles] of `inf` lists for the processor of this tool and that
// is not there, not even compressed ("stand_in.sy_"). Empty when all of them are. What a cabinet of
// the package contains is taken to be there.
[[nodiscard]] std::wstring MissingFile(const InfFile& inf);

// Every byte of the file at `path`. Empty, with the reason in GetLastError(), when the file cannot
// be read or is larger than 16 MiB.
[[nodiscard]] std::optional<std::string> ReadBytes(const std::wstring& path);

}  // namespace installer
