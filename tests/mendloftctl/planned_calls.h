#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

// The calls of the repair and setup exports whose plans are compared with their outcome, and what
// is expected of each of them.

// What the call finds on the machine. Unless a value says otherwise, the driver-store folders do
// not exist and the installer tool does.
enum class Found {
    kNothing,
    kFolders,     // the driver-store folders, with files and folders in them
    kStagedFile,  // a file of an earlier staging
    kInf,         // the INF file of Apple's own software
    kNoTool,      // no installer tool
    kInfAndNoTool,
};

// Groups of steps that stand together in every call that has them.
enum Passage {
    kPrepare,       // end crash reporters, enable privileges
    kStage,         // unpack the driver archive
    kRebuild,       // create, secure and fill the driver-store folders
    kRemove,        // delete them
    kInstalledInf,  // look for it
    kStagedInf,
    kUnknownInf,
    kTool,
    kInstall,  // run the tool and rescan devices
    kUninstall,
};

struct ExpectedCourse {
    std::vector<Passage> passages;
    std::int32_t code;  // what the call returns
};

struct PlannedCall {
    const char* function;
    std::int32_t argument;
    Found found;
    ExpectedCourse course;
    std::optional<ExpectedCourse> courseOn32Bit = std::nullopt;  // where that differs

    // For the bitness of the Wine prefix.
    [[nodiscard]] const ExpectedCourse& Expected() const;
};

[[nodiscard]] std::vector<PlannedCall> PlannedCalls();

void PrintTo(const PlannedCall& call, std::ostream* out);
[[nodiscard]] std::string RowName(const testing::TestParamInfo<PlannedCall>& row);
