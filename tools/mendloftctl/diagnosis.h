#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "mendloftctl/plan.h"

namespace ctl {

// One file that a diagnosis looks for.
struct FileFacts {
    std::wstring path;
    bool exists = false;
    std::wstring version;  // of a program or an INF file; empty when it states none
};

// One file or folder below a folder that a diagnosis lists.
struct FolderEntry {
    std::wstring path;  // relative to the listed folder
    std::uint64_t size = 0;
    bool isFolder = false;
    bool isReadOnly = false;
    FILETIME modified{};
};

// One folder that a diagnosis lists.
struct FolderFacts {
    std::wstring path;
    bool exists = false;
    std::vector<FolderEntry> entries;  // at every depth, a folder before its content
};

// The INF files of one driver package.
struct PackageFacts {
    std::string name;        // its name as an argument of `setup`
    FileFacts installedInf;  // the one that Apple's software installs; no path where it has none
    FileFacts stagedInf;     // the one that the library unpacks
    std::vector<FileFacts> publishedInfs;  // its copies in the INF folder of Windows
};

// What a support ticket needs to know about this machine.
struct Diagnosis {
    RTL_OSVERSIONINFOW windows{};  // all zero when Windows does not name its version
    bool is64Bit = false;
    bool isElevated = false;
    FileFacts library;
    FileFacts installerTool;
    std::vector<FolderFacts> storeFolders;
    FolderFacts stagingFolder;
    std::vector<PackageFacts> packages;
    std::string deviceService;  // its state
};

// Inspects the machine with regard to the library at the full path `library`, which need not exist.
// Changes nothing. What cannot be found out is empty, false or zero.
[[nodiscard]] Diagnosis Diagnose(const std::wstring& library);

// The steps of that inspection, for --dry-run.
[[nodiscard]] Plan MakeDiagnosisPlan(const std::wstring& library);

// The diagnosis as lines for a ticket, and as a document whose keys are listed in
// docs/mendloftctl.md.
[[nodiscard]] std::string ToText(const Diagnosis& diagnosis);
[[nodiscard]] nlohmann::ordered_json ToJson(const Diagnosis& diagnosis);

}  // namespace ctl
