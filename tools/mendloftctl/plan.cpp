#include "mendloftctl/plan.h"

#include <algorithm>

#include "api/boolean_argument.h"
#include "api/fix_helper.h"
#include "inf_installer/text.h"
#include "install/driver_packages.h"
#include "install/inf_installer.h"
#include "install/library_folder.h"
#include "mendloftctl/machine.h"
#include "platform/os_probes.h"
#include "platform/paths.h"
#include "staging/driver_staging.h"

// The steps stand in the order in which the library takes them; what they work on comes from the
// library's own tables.

namespace ctl {

namespace {

constexpr const char* kCreateFolder = "create folder";
constexpr const char* kDeleteFolder = "delete folder";
constexpr const char* kLookFor = "look for";

class Planner {
public:
    explicit Planner(const PlanFacts& facts) : facts_(facts) {}

    Plan Folders(bool repair) {
        plan_.code = FixFolder(repair, true);
        return std::move(plan_);
    }

    Plan Setup(const DriverPackage& package, std::int32_t argument) {
        plan_.code = FindFilesAndRun(package, argument);
        return std::move(plan_);
    }

    Plan PortTest(std::int32_t port) {
        Add("connect to", L"127.0.0.1:" + std::to_wstring(port & 0xFFFF),
            "hangs up again at once; nothing is sent");
        return std::move(plan_);
    }

private:
    void Add(const char* action, std::wstring what, std::string note = "") {
        plan_.steps.push_back({action, std::move(what), L"", std::move(note)});
    }
    void AddCopy(std::wstring what, std::wstring to, std::string note = "") {
        plan_.steps.push_back({"copy file", std::move(what), std::move(to), std::move(note)});
    }
    void AddCreateFolder(const std::wstring& path) {
        Add(kCreateFolder, path, FileOrFolderExists(path) ? "is there already" : "");
    }

    FixHelper::FixResult FixFolder(bool repair, bool fixFolders) {
        constexpr DWORD windowsVista = 6;
        if (facts_.majorVersion < windowsVista) {
            Add("skip", L"the driver archive and the driver-store folders",
                "this Windows is older than Windows Vista");
            return FixHelper::kOldSystem;
        }
        Add("end processes", L"WerFault.exe");
        helper_.InitStorePaths(facts_.majorVersion, facts_.minorVersion);
        Add("enable privileges", L"SeRestorePrivilege, SeBackupPrivilege");
        Stage();
        if (!fixFolders) return FixHelper::kDone;
        if (repair) {
            RebuildFolders();
            return FixHelper::kFoldersBuilt;
        }
        RemoveFolders();
        return FixHelper::kDone;
    }

    void Stage() {
        const std::wstring folder = facts_.temporaryDirectory + kStagingFolderName;
        AddCreateFolder(folder);
        Add("write file", folder + kStagedArchiveName, "the driver archive");
        for (const ArchiveItem& item : facts_.archive) {
            const std::wstring path = JoinPath(folder, item.path);
            if (item.isFolder) {
                AddCreateFolder(path);
            } else {
                Add("write file", path,
                    FileOrFolderExists(path) ? "replaces the one that is there" : "");
            }
        }
        helper_.stagingDir = folder;
    }

    // In the order in which they are created.
    [[nodiscard]] std::vector<std::wstring> StoreFolders() const {
        std::vector<std::wstring> folders{helper_.usbStorePath, helper_.usbStorePath2,
                                          helper_.netStorePath};
        std::erase(folders, L"");
        return folders;
    }

    void RebuildFolders() {
        for (const std::wstring& folder : StoreFolders()) {
            AddCreateFolder(folder);
            Add("set access of", folder, "everyone may read, administrators may do everything");
        }
        CopyUsbFiles();
        AttemptNetFiles();
    }

    // The staged files of a package, as a listing of their folder gives them.
    [[nodiscard]] std::vector<std::wstring> StagedFiles(const std::wstring& folder) const {
        std::vector<std::wstring> names;
        for (const ArchiveItem& item : facts_.archive) {
            const std::wstring path = L"\\" + item.path;
            if (!item.isFolder && EqualIgnoringCase(FolderOfFile(path), folder))
                names.push_back(path.substr(folder.size() + 1));
        }
        std::ranges::sort(names, [](const auto& one, const auto& other) {
            return ::_wcsicmp(one.c_str(), other.c_str()) < 0;
        });
        return names;
    }

    [[nodiscard]] static std::wstring StagedFolder(const DriverPackage& package) {
        return FolderOfFile(package.stagedInf.For(IsOs64Bit()));
    }

    void CopyUsbFiles() {
        const std::wstring folder = StagedFolder(kUsbPackage);
        for (const std::wstring& name : StagedFiles(folder)) {
            const std::wstring source = helper_.stagingDir + folder + L"\\" + name;
            AddCopy(source, JoinPath(helper_.usbStorePath, name));
            if (!helper_.usbStorePath2.empty())
                AddCopy(source, JoinPath(helper_.usbStorePath2, name));
        }
    }

    // The library joins folder and name without a backslash here, so these copies find no source.
    void AttemptNetFiles() {
        const std::wstring folder = StagedFolder(kNetPackage);
        for (const std::wstring& name : StagedFiles(folder)) {
            AddCopy(helper_.stagingDir + folder + name, JoinPath(helper_.netStorePath, name),
                    "comes to nothing: there is no such source, and the network folder stays "
                    "empty");
        }
    }

    void RemoveFolders() {
        std::vector<std::wstring> folders{helper_.usbStorePath2, helper_.usbStorePath,
                                          helper_.netStorePath};
        std::erase(folders, L"");
        for (const std::wstring& folder : folders) {
            Add(kDeleteFolder, folder, FileOrFolderExists(folder) ? "" : "is not there");
        }
    }

    FixHelper::SetupResult FindFilesAndRun(const DriverPackage& package, std::int32_t argument) {
        std::wstring inf = LookForInstalledInf(package);
        if (inf.empty()) {
            inf = StagedInf(package, IsTrue(argument));
            if (inf.empty()) {
                Add(kLookFor, L"an INF file", "none is known after a removal: the call ends here");
                return FixHelper::kInfMissing;
            }
            const bool exists = IsInArchive(package) || FileOrFolderExists(inf);
            Add(kLookFor, inf, exists ? "" : "is not there: the call ends here");
            if (!exists) return FixHelper::kInfMissing;
        }
        const std::wstring tool = InstallerToolPath(facts_.libraryFolder);
        const bool toolExists = FileOrFolderExists(tool);
        Add(kLookFor, tool, toolExists ? "" : "is not there: the call ends here");
        if (!toolExists) return FixHelper::kInstallerMissing;

        Add("run", InstallerCommandLine(tool, inf, argument),
            "without a window, and waits for its end without limit");
        Add("enumerate devices", L"the whole device tree");
        return FixHelper::kInstallerRan;
    }

    std::wstring LookForInstalledInf(const DriverPackage& package) {
        if (!package.installedInf.Exists()) return {};
        const std::wstring inf = DrivePrefix(facts_.libraryFolder, facts_.commonFilesFolder) +
                                 package.installedInf.For(IsOs64Bit());
        const bool exists = FileOrFolderExists(inf);
        Add(kLookFor, inf, exists ? "is there, so that nothing is staged" : "is not there");
        return exists ? inf : std::wstring();
    }

    // A process that has just started remembers no staged INF path, so the folders are repaired
    // first. Only a rebuild of the folders fills the remembered path by itself.
    std::wstring StagedInf(const DriverPackage& package, bool repair) {
        const bool remembers = package.rememberedInf != nullptr;
        const FixHelper::FixResult result = FixFolder(repair, /*fixFolders=*/remembers);
        const bool known =
            !remembers || package.remembersFallback || result == FixHelper::kFoldersBuilt;
        return known ? helper_.stagingDir + package.stagedInf.For(IsOs64Bit()) : std::wstring();
    }

    [[nodiscard]] bool IsInArchive(const DriverPackage& package) const {
        const std::wstring inf = package.stagedInf.For(IsOs64Bit());
        return !helper_.stagingDir.empty() &&
               std::ranges::any_of(facts_.archive, [&](const ArchiveItem& item) {
                   return !item.isFolder && EqualIgnoringCase(L"\\" + item.path, inf);
               });
    }

    const PlanFacts& facts_;
    FixHelper helper_;
    Plan plan_;
};

}  // namespace

Plan MakePlan(const LibraryFunction& function, std::int32_t argument, const PlanFacts& facts) {
    Planner planner(facts);
    switch (function.results) {
        case ResultKind::kFolder:
            return planner.Folders(IsTrue(argument));
        case ResultKind::kSetup:
            return planner.Setup(*function.driverFiles, argument);
        default:
            return planner.PortTest(argument);
    }
}

Plan WithPrivateFolder(Plan plan, const std::wstring& folder) {
    plan.steps.insert(plan.steps.begin(), {kCreateFolder, folder, L"",
                                           "only administrators and the system may enter it"});
    plan.steps.push_back({kDeleteFolder, folder, L"", ""});
    return plan;
}

}  // namespace ctl
