#include "mendloftctl/meanings.h"

#include <gmock/gmock.h>

#include <set>
#include <string>

namespace {

using ctl::ExitStatus;
using ctl::MeaningOf;
using ctl::ResultKind;
using testing::EndsWith;

struct Row {
    const char* name;
    ResultKind results;
    std::int32_t code;
    ExitStatus status;
};

class EveryCode : public testing::TestWithParam<Row> {};

TEST_P(EveryCode, HasItsExitStatus) {
    EXPECT_EQ(GetParam().status, MeaningOf(GetParam().results, GetParam().code).status);
}

TEST_P(EveryCode, IsExplainedInASentence) {
    EXPECT_THAT(std::string(MeaningOf(GetParam().results, GetParam().code).sentence),
                EndsWith("."));
}

INSTANTIATE_TEST_SUITE_P(
    Meanings, EveryCode,
    testing::Values(Row{"FoldersBuilt", ResultKind::kFolder, 4, ExitStatus::kSuccess},
                    Row{"FoldersRemoved", ResultKind::kFolder, 0, ExitStatus::kSuccess},
                    Row{"FolderFailure", ResultKind::kFolder, 1, ExitStatus::kFailed},
                    Row{"OldWindows", ResultKind::kFolder, 2, ExitStatus::kOldWindows},
                    Row{"InstallerRan", ResultKind::kSetup, 0, ExitStatus::kSuccess},
                    Row{"InfMissing", ResultKind::kSetup, -1, ExitStatus::kInfMissing},
                    Row{"InstallerMissing", ResultKind::kSetup, -2, ExitStatus::kInstallerMissing},
                    Row{"InstallerNotStarted", ResultKind::kSetup, -3,
                        ExitStatus::kInstallerNotStarted},
                    Row{"PortOpen", ResultKind::kPort, 1, ExitStatus::kSuccess},
                    Row{"PortClosed", ResultKind::kPort, 0, ExitStatus::kNobodyListens},
                    Row{"UnknownFolderCode", ResultKind::kFolder, 3, ExitStatus::kUnknownCode},
                    Row{"UnknownSetupCode", ResultKind::kSetup, 4, ExitStatus::kUnknownCode}),
    [](const auto& test) { return test.param.name; });

TEST(Meanings, AreAllDifferent) {
    std::set<std::string_view> sentences;
    for (const ctl::Meaning& meaning : ctl::AllMeanings()) sentences.insert(meaning.sentence);

    EXPECT_EQ(10U, sentences.size());
    EXPECT_EQ(10U, ctl::AllMeanings().size());
}

}  // namespace
