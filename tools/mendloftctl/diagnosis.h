#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "mendloftctl/plan.h"

namespace ctl {

struct FileFacts {
    std::wstring path;
    bool exists = false;
    std::wstring version;  // of a program or an INF file; empty when it tells none
};

struct FolderEntry {
    std::wstring path;  // below the folder
    std::uint64_t size = 0;
    bool isFolder = false;
    bool isReadOnly = false;
    FILETIME modified{};
};

struct FolderFacts {
    std::wstring path;
    bool exists = false;
    std::vector<FolderEntry> entries;  // all that lies below it
};

// A driver package as Windows has it.
struct PackageFacts {
    std::string name;        // what `setup` calls it
    FileFacts installedInf;  // where Apple's own software puts it; no path where it puts none
    FileFacts stagedInf;
    std::vector<FileFacts> publishedInfs;  // in Windows' own INF folder
};

// What there is to know about this machine before the library is called.
struct Diagnosis {
    RTL_OSVERSIONINFOW windows{};  // all zero when the system does not tell
    bool is64Bit = false;
    bool isElevated = false;
    FileFacts library;
    FileFacts installerTool;
    std::vector<FolderFacts> storeFolders;
    FolderFacts stagingFolder;
    std::vector<PackageFacts> packages;
    std::string deviceService;  // its state
};

// Looks at the machine for the library at the full path `library`, and changes nothing.
[[nodiscard]] Diagnosis Diagnose(const std::wstring& library);

// Where that looks.
[[nodiscard]] Plan MakeDiagnosisPlan(const std::wstring& library);

[[nodiscard]] std::string ToText(const Diagnosis& diagnosis);
[[nodiscard]] nlohmann::ordered_json ToJson(const Diagnosis& diagnosis);

}  // namespace ctl
