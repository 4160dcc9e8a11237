#include "mendloftctl/taken_steps.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using Calls = std::vector<RecordedCall>;

// The calls of a small repair.
Calls Repair() {
    return {{"OpenProcessToken", L"", L""},
            {"LookupPrivilegeValueW", L"SeRestorePrivilege", L""},
            {"AdjustTokenPrivileges (enable)", L"SeRestorePrivilege", L""},
            {"PathFileExistsW (missing)", L"T:\\a", L""},
            {"CreateDirectoryW", L"T:\\a", L""},
            {"SetNamedSecurityInfoW (access)", L"T:\\a", L""},
            {"FindFirstFileW (there)", L"T:\\b", L""},
            {"CopyFileW", L"T:\\b\\c", L"T:\\a\\c"}};
}

TEST(TakenSteps, ReadLikeThoseOfAPlan) {
    EXPECT_THAT(StepsTaken(Repair()),
                ElementsAre(L"enable privileges|SeRestorePrivilege", L"create folder|T:\\a",
                            L"set access of|T:\\a", L"copy file|T:\\b\\c|T:\\a\\c"));
}

TEST(TakenSteps, ShowAnExtraCall) {
    Calls calls = Repair();
    calls.insert(calls.end() - 2, {"CreateDirectoryW", L"T:\\d", L""});

    EXPECT_THAT(StepsTaken(calls),
                ElementsAre(L"enable privileges|SeRestorePrivilege", L"create folder|T:\\a",
                            L"set access of|T:\\a", L"create folder|T:\\d",
                            L"copy file|T:\\b\\c|T:\\a\\c"));
}

TEST(TakenSteps, ShowACallThatIsMadeTwice) {
    Calls calls = Repair();
    calls.push_back(calls.back());

    EXPECT_THAT(StepsTaken(calls),
                ElementsAre(L"enable privileges|SeRestorePrivilege", L"create folder|T:\\a",
                            L"set access of|T:\\a", L"copy file|T:\\b\\c|T:\\a\\c",
                            L"copy file|T:\\b\\c|T:\\a\\c"));
}

TEST(TakenSteps, LackAMissingCall) {
    Calls calls = Repair();
    calls.erase(calls.begin() + 5);

    EXPECT_THAT(StepsTaken(calls),
                ElementsAre(L"enable privileges|SeRestorePrivilege", L"create folder|T:\\a",
                            L"copy file|T:\\b\\c|T:\\a\\c"));
}

TEST(TakenSteps, ShowSwappedCalls) {
    Calls calls = Repair();
    std::swap(calls[4], calls[5]);

    EXPECT_THAT(StepsTaken(calls),
                ElementsAre(L"enable privileges|SeRestorePrivilege", L"look for|T:\\a",
                            L"set access of|T:\\a", L"create folder|T:\\a",
                            L"copy file|T:\\b\\c|T:\\a\\c"));
}

TEST(TakenSteps, ShowACallThatIsInNoPlanUnderItsOwnName) {
    EXPECT_THAT(StepsTaken({{"MoveFileExW", L"T:\\a", L"T:\\b"},
                            {"send", L"127.0.0.1:1", L""},
                            {"CreateFileW (otherwise)", L"T:\\c", L""}}),
                ElementsAre(L"MoveFileExW|T:\\a|T:\\b", L"send|127.0.0.1:1",
                            L"CreateFileW (otherwise)|T:\\c"));
}

TEST(TakenSteps, ShowACallWhoseStepIsMissing) {
    EXPECT_THAT(StepsTaken({{"LookupPrivilegeValueW", L"SeBackupPrivilege", L""},
                            {"DeleteFileW", L"T:\\a\\b", L""},
                            {"SetFileTime", L"T:\\c", L""},
                            {"CreateProcessW", L"T:\\d.exe", L""},
                            {"CM_Locate_DevNodeW", L"(root)", L""}}),
                ElementsAre(L"LookupPrivilegeValueW|SeBackupPrivilege", L"DeleteFileW|T:\\a\\b",
                            L"SetFileTime|T:\\c", L"CreateProcessW|T:\\d.exe",
                            L"CM_Locate_DevNodeW|(root)"));
}

TEST(TakenSteps, NameAProgramOnceHoweverOftenItRuns) {
    EXPECT_THAT(StepsTaken({{"OpenProcess", L"WerFault.exe", L""},
                            {"TerminateProcess", L"WerFault.exe", L""},
                            {"OpenProcess", L"WerFault.exe", L""},
                            {"TerminateProcess", L"WerFault.exe", L""},
                            {"OpenProcess", L"other.exe", L""},
                            {"TerminateProcess", L"other.exe", L""}}),
                ElementsAre(L"end processes|WerFault.exe", L"end processes|other.exe"));
}

TEST(TakenSteps, NamePrivilegesTogetherInTheirOrder) {
    EXPECT_THAT(StepsTaken({{"AdjustTokenPrivileges (enable)", L"SeRestorePrivilege", L""},
                            {"AdjustTokenPrivileges (enable)", L"SeBackupPrivilege", L""}}),
                ElementsAre(L"enable privileges|SeRestorePrivilege, SeBackupPrivilege"));
}

TEST(TakenSteps, JoinTheCallsForAFileOfTheArchive) {
    EXPECT_THAT(StepsTaken({{"SHCreateDirectoryExW", L"T:\\a", L""},
                            {"GetFileAttributesW", L"T:\\a\\b", L""},
                            {"SHFileOperationW (delete)", L"T:\\a\\b", L""},
                            {"SHCreateDirectoryExW (there)", L"T:\\a", L""},
                            {"SHCreateStreamOnFileEx (create)", L"T:\\a\\b", L""},
                            {"CreateFileW (change)", L"T:\\a\\b", L""},
                            {"SetFileTime", L"T:\\a\\b", L""},
                            {"SetFileAttributesW", L"T:\\a\\b", L""}}),
                ElementsAre(L"create folder|T:\\a", L"write file|T:\\a\\b"));
}

TEST(TakenSteps, ShowAFolderThatIsCreatedForAFile) {
    EXPECT_THAT(StepsTaken({{"SHCreateDirectoryExW", L"T:\\a", L""},
                            {"SHCreateStreamOnFileEx (create)", L"T:\\a\\b", L""}}),
                ElementsAre(L"create folder|T:\\a", L"write file|T:\\a\\b"));
}

TEST(TakenSteps, ShowAFileThatIsTouchedAfterAnother) {
    EXPECT_THAT(StepsTaken({{"CreateFileW (create)", L"T:\\a", L""},
                            {"CreateFileW (create)", L"T:\\b", L""},
                            {"WriteFile", L"T:\\a", L""}}),
                ElementsAre(L"write file|T:\\a", L"write file|T:\\b", L"WriteFile|T:\\a"));
}

TEST(TakenSteps, ShowAnExistingFolderAsCreatedWhenAFileIsWrittenDirectlyIntoIt) {
    EXPECT_THAT(StepsTaken({{"PathFileExistsW (there)", L"T:\\a", L""},
                            {"CreateFileW (create)", L"T:\\a\\b", L""},
                            {"PathFileExistsW (there)", L"T:\\a", L""},
                            {"CreateFileW (create)", L"T:\\a\\b\\c", L""}}),
                ElementsAre(L"create folder|T:\\a", L"write file|T:\\a\\b", L"look for|T:\\a",
                            L"write file|T:\\a\\b\\c"));
}

TEST(TakenSteps, JoinTheCallsThatDeleteATree) {
    EXPECT_THAT(StepsTaken({{"FindFirstFileW (there)", L"T:\\a", L""},
                            {"DeleteFileW", L"T:\\a\\b", L""},
                            {"FindFirstFileW (there)", L"T:\\a\\c", L""},
                            {"DeleteFileW", L"T:\\a\\c\\d", L""},
                            {"RemoveDirectoryW", L"T:\\a\\c", L""},
                            {"RemoveDirectoryW", L"T:\\a", L""},
                            {"FindFirstFileW (missing)", L"T:\\ab", L""},
                            {"PathFileExistsW (missing)", L"T:\\a", L""}}),
                ElementsAre(L"delete folder|T:\\a", L"delete folder|T:\\ab"));
}

TEST(TakenSteps, CountACheckForADeletedFolderAsPartOfItsDeletion) {
    EXPECT_THAT(StepsTaken({{"RemoveDirectoryW", L"T:\\a", L""},
                            {"RemoveDirectoryW", L"T:\\b", L""},
                            {"PathFileExistsW (there)", L"T:\\a", L""},
                            {"PathFileExistsW (missing)", L"T:\\b", L""},
                            {"PathFileExistsW (missing)", L"T:\\c", L""}}),
                ElementsAre(L"delete folder|T:\\a", L"delete folder|T:\\b", L"look for|T:\\c"));
}

TEST(TakenSteps, ShowAFolderThatIsOnlyListed) {
    EXPECT_THAT(StepsTaken({{"FindFirstFileW (there)", L"T:\\a", L""}}),
                ElementsAre(L"FindFirstFileW (there)|T:\\a"));
}

TEST(TakenSteps, NameASearchWithoutAPathAsPlansDo) {
    EXPECT_THAT(StepsTaken({{"PathFileExistsW (missing)", L"", L""}}),
                ElementsAre(L"look for|an INF file"));
}

TEST(TakenSteps, JoinARunAndItsWait) {
    EXPECT_THAT(StepsTaken({{"CreateProcessW", L"T:\\a.exe -i", L""},
                            {"WaitForSingleObject (without limit)", L"T:\\a.exe -i", L""},
                            {"CM_Locate_DevNodeW", L"(root)", L""},
                            {"CM_Reenumerate_DevNode", L"(root)", L""}}),
                ElementsAre(L"run|T:\\a.exe -i", L"enumerate devices|the whole device tree"));
}

TEST(TakenSteps, ShowARunWhoseWaitHasALimit) {
    EXPECT_THAT(
        StepsTaken({{"CreateProcessW", L"T:\\a.exe", L""},
                    {"WaitForSingleObject (otherwise)", L"T:\\a.exe", L""}}),
        ElementsAre(L"CreateProcessW|T:\\a.exe", L"WaitForSingleObject (otherwise)|T:\\a.exe"));
}

TEST(TakenSteps, ShowAConnectionThatIsNotClosed) {
    EXPECT_THAT(StepsTaken({{"connect", L"127.0.0.1:1", L""},
                            {"connect", L"127.0.0.1:2", L""},
                            {"closesocket", L"127.0.0.1:2", L""}}),
                ElementsAre(L"connect|127.0.0.1:1", L"connect to|127.0.0.1:2"));
}

}  // namespace
