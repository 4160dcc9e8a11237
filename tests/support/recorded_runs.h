#pragma once

#include <windows.h>

#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One run of the installer tool's stand-in (support/inf_installer_recorder.cpp).
struct RecordedRun {
    std::wstring commandLine;  // as the program received it
    std::wstring folder;       // its current folder
    std::string console;       // "none", "hidden" or "visible"
    unsigned long startUpFlags = 0;
    unsigned long showWindow = 0;
    std::optional<unsigned long> exitCode;  // empty when the run has not ended
};

[[nodiscard]] inline std::wstring FromUtf8(std::string_view bytes) {
    const int length = static_cast<int>(bytes.size());
    const int size = ::MultiByteToWideChar(CP_UTF8, 0, bytes.data(), length, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(size), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, bytes.data(), length, text.data(), size);
    return text;
}

// The runs recorded in the file that MENDLOFT_RECORDER_FILE named, oldest first; none when there is
// no such file.
[[nodiscard]] inline std::vector<RecordedRun> ReadRecordedRuns(const wchar_t* path) {
    std::vector<RecordedRun> runs;
    std::ifstream file(path, std::ios::binary);
    for (std::string line; std::getline(file, line);) {
        const std::size_t colon = line.find(": ");
        const std::string field = line.substr(0, colon);
        const std::string value = line.substr(colon + 2);
        if (field == "command line") {
            runs.emplace_back().commandLine = FromUtf8(value);
        } else if (field == "folder") {
            runs.back().folder = FromUtf8(value);
        } else if (field == "console") {
            runs.back().console = value;
        } else if (field == "start-up flags") {
            runs.back().startUpFlags = std::stoul(value);
        } else if (field == "show window") {
            runs.back().showWindow = std::stoul(value);
        } else if (field == "ended") {
            runs.back().exitCode = std::stoul(value);
        }
    }
    return runs;
}
