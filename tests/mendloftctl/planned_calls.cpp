#include "mendloftctl/planned_calls.h"

#include "support/fake_os.h"

namespace {

using Course = ExpectedCourse;

// Courses of the older packages, whose setup also repairs the driver-store folders.
const Course kInstallStaged{
    {kInstalledInf, kPrepare, kStage, kRebuild, kStagedInf, kTool, kInstall}, 0};
const Course kInstallStagedWithoutTool{
    {kInstalledInf, kPrepare, kStage, kRebuild, kStagedInf, kTool}, -2};
const Course kUninstallStaged{
    {kInstalledInf, kPrepare, kStage, kRemove, kStagedInf, kTool, kUninstall}, 0};
const Course kUninstallStagedWithoutTool{
    {kInstalledInf, kPrepare, kStage, kRemove, kStagedInf, kTool}, -2};
const Course kUninstallUnknown{{kInstalledInf, kPrepare, kStage, kRemove, kUnknownInf}, -1};
const Course kInstallInstalled{{kInstalledInf, kTool, kInstall}, 0};
const Course kUninstallInstalled{{kInstalledInf, kTool, kUninstall}, 0};
const Course kInstalledWithoutTool{{kInstalledInf, kTool}, -2};

// Courses of the newer packages. The archive contains no files of theirs for 32-bit Windows.
const Course kInstallNewer{{kPrepare, kStage, kStagedInf, kTool, kInstall}, 0};
const Course kUninstallNewer{{kPrepare, kStage, kStagedInf, kTool, kUninstall}, 0};
const Course kNewerWithoutTool{{kPrepare, kStage, kStagedInf, kTool}, -2};
const Course kNewerWithoutInf{{kPrepare, kStage, kStagedInf}, -1};

}  // namespace

const ExpectedCourse& PlannedCall::Expected() const {
    return !PrefixIs64Bit() && courseOn32Bit ? *courseOn32Bit : course;
}

std::vector<PlannedCall> PlannedCalls() {
    return {
        {"MendloftFolder", 1, Found::kNothing, {{kPrepare, kStage, kRebuild}, 4}},
        {"MendloftFolder", 1, Found::kFolders, {{kPrepare, kStage, kRebuild}, 4}},
        {"MendloftFolder", 1, Found::kStagedFile, {{kPrepare, kStage, kRebuild}, 4}},
        {"MendloftFolder", 0, Found::kNothing, {{kPrepare, kStage, kRemove}, 0}},
        {"MendloftFolder", 0, Found::kFolders, {{kPrepare, kStage, kRemove}, 0}},

        {"SetUpUSBDriver", 1, Found::kNothing, kInstallStaged},
        {"SetUpUSBDriver", 1, Found::kNoTool, kInstallStagedWithoutTool},
        {"SetUpUSBDriver", 1, Found::kInf, kInstallInstalled},
        {"SetUpUSBDriver", 1, Found::kInfAndNoTool, kInstalledWithoutTool},
        {"SetUpUSBDriver", 0, Found::kNothing, kUninstallStaged},
        {"SetUpUSBDriver", 0, Found::kFolders, kUninstallStaged},
        {"SetUpUSBDriver", 0, Found::kNoTool, kUninstallStagedWithoutTool},
        {"SetUpUSBDriver", 0, Found::kInf, kUninstallInstalled},
        {"SetUpUSBDriver", 0, Found::kInfAndNoTool, kInstalledWithoutTool},

        // A removal copies no drivers, so the library knows no staged INF file of this package.
        {"SetUpNetDriver", 1, Found::kNothing, kInstallStaged},
        {"SetUpNetDriver", 1, Found::kNoTool, kInstallStagedWithoutTool},
        {"SetUpNetDriver", 1, Found::kInf, kInstallInstalled},
        {"SetUpNetDriver", 1, Found::kInfAndNoTool, kInstalledWithoutTool},
        {"SetUpNetDriver", 0, Found::kNothing, kUninstallUnknown},
        {"SetUpNetDriver", 0, Found::kFolders, kUninstallUnknown},
        {"SetUpNetDriver", 0, Found::kNoTool, kUninstallUnknown},
        {"SetUpNetDriver", 0, Found::kInf, kUninstallInstalled},
        {"SetUpNetDriver", 0, Found::kInfAndNoTool, kInstalledWithoutTool},

        {"SetUpKisDriver", 1, Found::kNothing, kInstallNewer, kNewerWithoutInf},
        {"SetUpKisDriver", 1, Found::kNoTool, kNewerWithoutTool, kNewerWithoutInf},
        {"SetUpKisDriver", 0, Found::kNothing, kUninstallNewer, kNewerWithoutInf},
        {"SetUpKisDriver", 0, Found::kNoTool, kNewerWithoutTool, kNewerWithoutInf},
        {"SetUpRSMDriver", 1, Found::kNothing, kInstallNewer, kNewerWithoutInf},
        {"SetUpRSMDriver", 1, Found::kNoTool, kNewerWithoutTool, kNewerWithoutInf},
        {"SetUpRSMDriver", 0, Found::kNothing, kUninstallNewer, kNewerWithoutInf},
        {"SetUpRSMDriver", 0, Found::kNoTool, kNewerWithoutTool, kNewerWithoutInf},
        {"SetUpAppleUSBDeviceDriver", 1, Found::kNothing, kInstallNewer, kNewerWithoutInf},
        {"SetUpAppleUSBDeviceDriver", 1, Found::kNoTool, kNewerWithoutTool, kNewerWithoutInf},
        {"SetUpAppleUSBDeviceDriver", 0, Found::kNothing, kUninstallNewer, kNewerWithoutInf},
        {"SetUpAppleUSBDeviceDriver", 0, Found::kNoTool, kNewerWithoutTool, kNewerWithoutInf},
    };
}

void PrintTo(const PlannedCall& call, std::ostream* out) {
    *out << call.function << "(" << call.argument << ")";
}

std::string RowName(const testing::TestParamInfo<PlannedCall>& row) {
    static constexpr const char* kFound[] = {"",        "OverFolders", "OverAStagedFile",
                                             "WithInf", "WithoutTool", "WithInfAndWithoutTool"};
    return std::string(row.param.function) + (row.param.argument != 0 ? "Repairs" : "Removes") +
           kFound[static_cast<int>(row.param.found)];
}
