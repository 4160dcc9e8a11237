#include "mendloftctl/plan.h"

#include <gmock/gmock.h>

#include "support/fake_os.h"
#include "support/temporary_folder.h"

namespace {

using ctl::MakePlan;
using ctl::Plan;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// 64-bit Windows 10 without Apple's software and with nothing staged, unless a test says otherwise.
class PlanTest : public testing::Test {
protected:
    PlanTest() {
        os.Is64Bit(true);
        facts.majorVersion = 10;
        facts.libraryFolder = library.Path();
        facts.commonFilesFolder = programFiles.Path();
        facts.temporaryDirectory = L"T:\\";
        facts.archive = {{L"usb\\x64", 0, true},
                         {L"usb\\x64\\usbaapl64.sys", 7, false},
                         {L"usb\\x64\\usbaapl64.inf", 7, false},
                         {L"net\\x64\\netaapl64.inf", 7, false},
                         {L"applekis\\x64\\AppleKIS.inf", 7, false},
                         {L"usb\\x86\\usbaapl.inf", 7, false}};
        WriteFileContent(Tool());
    }

    [[nodiscard]] std::wstring Tool() const { return library / L"files\\inf\\InfInstallerx64.exe"; }

    // "action|what" or "action|what|to" of every step.
    static std::vector<std::wstring> Steps(const Plan& plan) {
        std::vector<std::wstring> steps;
        for (const ctl::Step& step : plan.steps) {
            const std::string action = step.action;
            steps.push_back(std::wstring(action.begin(), action.end()) + L"|" + step.what +
                            (step.to.empty() ? L"" : L"|" + step.to));
        }
        return steps;
    }
    static std::vector<std::string> NotesOn(const Plan& plan, const std::wstring& what) {
        std::vector<std::string> notes;
        for (const ctl::Step& step : plan.steps) {
            if (step.what == what) notes.push_back(step.note);
        }
        return notes;
    }

    [[nodiscard]] Plan Folders(std::int32_t repair) const {
        return MakePlan(ctl::kMendloftFolder, repair, facts);
    }
    [[nodiscard]] Plan PlanOf(const char* name, std::int32_t repair = 1) const {
        return MakePlan(*ctl::FindFunction(name), repair, facts);
    }

    FakeOs os;
    TemporaryFolder library;
    TemporaryFolder programFiles;
    ctl::PlanFacts facts;
};

TEST_F(PlanTest, OfARepairListsEveryStepInOrder) {
    EXPECT_THAT(Steps(Folders(1)),
                ElementsAre(L"end processes|WerFault.exe",
                            L"enable privileges|SeRestorePrivilege, SeBackupPrivilege",
                            L"create folder|T:\\mendloft", L"write file|T:\\mendloft\\driver.7z",
                            L"create folder|T:\\mendloft\\usb\\x64",
                            L"write file|T:\\mendloft\\usb\\x64\\usbaapl64.sys",
                            L"write file|T:\\mendloft\\usb\\x64\\usbaapl64.inf",
                            L"write file|T:\\mendloft\\net\\x64\\netaapl64.inf",
                            L"write file|T:\\mendloft\\applekis\\x64\\AppleKIS.inf",
                            L"write file|T:\\mendloft\\usb\\x86\\usbaapl.inf",
                            L"create folder|C:\\Windows\\System32\\DriverStore\\FileRepository\\"
                            L"usbaapl64.inf_amd64_c0e4d8c2aef471b7",
                            L"set access of|C:\\Windows\\System32\\DriverStore\\FileRepository\\"
                            L"usbaapl64.inf_amd64_c0e4d8c2aef471b7",
                            L"create folder|C:\\Windows\\System32\\DriverStore\\FileRepository\\"
                            L"netaapl64.inf_amd64_56f23639c9617984",
                            L"set access of|C:\\Windows\\System32\\DriverStore\\FileRepository\\"
                            L"netaapl64.inf_amd64_56f23639c9617984",
                            L"copy "
                            L"file|T:\\mendloft\\usb\\x64\\usbaapl64.inf|C:"
                            L"\\Windows\\System32\\DriverStore\\FileRepository\\"
                            L"usbaapl64.inf_amd64_c0e4d8c2aef471b7\\usbaapl64.inf",
                            L"copy "
                            L"file|T:\\mendloft\\usb\\x64\\usbaapl64.sys|C:"
                            L"\\Windows\\System32\\DriverStore\\FileRepository\\"
                            L"usbaapl64.inf_amd64_c0e4d8c2aef471b7\\usbaapl64.sys",
                            L"copy "
                            L"file|T:\\mendloft\\net\\x64netaapl64.inf|C:"
                            L"\\Windows\\System32\\DriverStore\\FileRepository\\"
                            L"netaapl64.inf_amd64_56f23639c9617984\\netaapl64.inf"));
}

TEST_F(PlanTest, OfARepairPredictsItsCode) {
    EXPECT_EQ(4, Folders(1).code);
}

TEST_F(PlanTest, NotesThatTheNetworkFilesAreNotCopied) {
    EXPECT_THAT(NotesOn(Folders(1), L"T:\\mendloft\\net\\x64netaapl64.inf"),
                ElementsAre(StartsWith("copies nothing")));
}

TEST_F(PlanTest, CopiesUsbFilesIntoBothFoldersWhereThereAreTwo) {
    os.Is64Bit(false);

    EXPECT_THAT(Steps(Folders(1)), Contains(L"copy "
                                            L"file|T:\\mendloft\\usb\\x86\\usbaapl.inf|C:"
                                            L"\\Windows\\System32\\DriverStore\\FileRepository\\"
                                            L"usbaapl.inf_x86_b11f4eb7484c8d3b\\usbaapl.inf"));
}

TEST_F(PlanTest, OfARemovalDeletesTheFoldersInTheLibrarysOrder) {
    facts.archive.clear();
    facts.majorVersion = 6;
    facts.minorVersion = 1;

    const Plan plan = Folders(0);

    EXPECT_THAT(Steps(plan),
                ElementsAre(L"end processes|WerFault.exe",
                            L"enable privileges|SeRestorePrivilege, SeBackupPrivilege",
                            L"create folder|T:\\mendloft", L"write file|T:\\mendloft\\driver.7z",
                            L"delete folder|C:\\Windows\\System32\\DriverStore\\FileRepository\\"
                            L"usbaapl64.inf_amd64_neutral_14c8400756ec0e3b",
                            L"delete folder|C:\\Windows\\System32\\DriverStore\\FileRepository\\"
                            L"usbaapl64.inf_amd64_neutral_c0e4d8c2aef471b7",
                            L"delete folder|C:\\Windows\\System32\\DriverStore\\FileRepository\\"
                            L"netaapl64.inf_amd64_neutral_56f23639c9617984"));
    EXPECT_EQ(0, plan.code);
}

TEST_F(PlanTest, OnAnOldWindowsLeavesTheFoldersAlone) {
    facts.majorVersion = 5;

    const Plan plan = Folders(1);

    EXPECT_THAT(Steps(plan), ElementsAre(L"skip|the driver archive and the driver-store folders"));
    EXPECT_EQ(2, plan.code);
}

TEST_F(PlanTest, NotesWhatExistsAlready) {
    const TemporaryFolder temp;
    facts.temporaryDirectory = temp.Path() + L"\\";
    WriteFileContent(temp / L"mendloft\\usb\\x64\\usbaapl64.inf");

    const Plan plan = Folders(1);

    EXPECT_THAT(NotesOn(plan, temp / L"mendloft"), ElementsAre("exists already"));
    EXPECT_THAT(NotesOn(plan, temp / L"mendloft\\usb\\x64\\usbaapl64.inf"),
                Contains("replaces the existing file"));
}

TEST_F(PlanTest, OfASetupFromTheArchiveEndsWithTheToolAndARescan) {
    const Plan plan = PlanOf("SetUpKisDriver");

    const std::wstring inf = L"T:\\mendloft\\applekis\\x64\\AppleKIS.inf";
    const std::vector<std::wstring> steps = Steps(plan);
    EXPECT_THAT(std::vector(steps.end() - 4, steps.end()),
                ElementsAre(L"look for|" + inf, L"look for|" + Tool(),
                            L"run|" + Tool() + L" -i \"" + inf + L"\"",
                            L"enumerate devices|the whole device tree"));
    EXPECT_EQ(0, plan.code);
}

TEST_F(PlanTest, OfANewerPackageLeavesTheDriverStoreAlone) {
    EXPECT_THAT(Steps(PlanOf("SetUpKisDriver")),
                Not(Contains(testing::HasSubstr(L"FileRepository"))));
}

TEST_F(PlanTest, OfAnOlderPackageRepairsTheDriverStoreFirst) {
    EXPECT_THAT(Steps(PlanOf("SetUpUSBDriver")),
                Contains(L"create folder|C:\\Windows\\System32\\DriverStore\\FileRepository\\"
                         L"usbaapl64.inf_amd64_c0e4d8c2aef471b7"));
}

TEST_F(PlanTest, OfAnInstalledPackageStagesNothing) {
    const std::wstring prefix = facts.commonFilesFolder.substr(0, 2);
    const std::wstring inf = prefix +
                             L"\\Program Files\\Common Files\\Apple\\Mobile Device Support\\"
                             L"Drivers\\usbaapl64.inf";
    WriteFileContent(inf);

    const Plan plan = PlanOf("SetUpUSBDriver", 0);
    RemoveTree(prefix + L"\\Program Files\\Common Files\\Apple");

    EXPECT_THAT(Steps(plan), ElementsAre(L"look for|" + inf, L"look for|" + Tool(),
                                         L"run|" + Tool() + L" -d \"" + inf + L"\"",
                                         L"enumerate devices|the whole device tree"));
}

TEST_F(PlanTest, PredictsAMissingInf) {
    os.Is64Bit(false);

    const Plan plan = PlanOf("SetUpKisDriver");

    EXPECT_EQ(L"look for|T:\\mendloft\\applekis\\x86\\AppleKIS.inf", Steps(plan).back());
    EXPECT_EQ(-1, plan.code);
}

TEST_F(PlanTest, PredictsAMissingTool) {
    std::filesystem::remove(Tool());

    const Plan plan = PlanOf("SetUpKisDriver");

    EXPECT_EQ(L"look for|" + Tool(), Steps(plan).back());
    EXPECT_EQ(-2, plan.code);
}

TEST_F(PlanTest, PredictsThatARemovalOfTheNetworkPackageFindsNoInf) {
    EXPECT_EQ(-1, PlanOf("SetUpNetDriver", 0).code);
}

TEST_F(PlanTest, PredictsThatARemovalOfTheUsbPackageFallsBackToTheArchive) {
    EXPECT_EQ(0, PlanOf("SetUpUSBDriver", 0).code);
}

TEST_F(PlanTest, OfASetupOnAnOldWindowsLooksInTheRootOfTheDrive) {
    facts.majorVersion = 5;

    const Plan plan = PlanOf("SetUpUSBDriver");

    EXPECT_EQ(L"look for|\\usb\\x64\\usbaapl64.inf", Steps(plan).back());
    EXPECT_EQ(-1, plan.code);
}

TEST_F(PlanTest, OfAPortTestPredictsNoCode) {
    const Plan plan = MakePlan(ctl::kPortTest, 27015, facts);

    EXPECT_THAT(Steps(plan), ElementsAre(L"connect to|127.0.0.1:27015"));
    EXPECT_FALSE(plan.code.has_value());
}

TEST_F(PlanTest, ChangesNothing) {
    const TemporaryFolder temp;
    facts.temporaryDirectory = temp.Path() + L"\\";

    (void)PlanOf("SetUpUSBDriver");

    EXPECT_THAT(Tree(temp.Path()), IsEmpty());
}

TEST_F(PlanTest, OfAnIsolatedCallBeginsAndEndsWithItsPrivateFolder) {
    const Plan plan = WithPrivateFolder(Folders(0), L"C:\\private");

    EXPECT_EQ(L"create folder|C:\\private", Steps(plan).front());
    EXPECT_EQ(L"delete folder|C:\\private", Steps(plan).back());
    EXPECT_EQ(0, plan.code);
}

}  // namespace
