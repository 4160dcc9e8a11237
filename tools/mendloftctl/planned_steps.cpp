#include "mendloftctl/planned_steps.h"

#include "archive/file_system.h"
#include "install/inf_installer.h"
#include "platform/paths.h"
#include "platform/processes.h"
#include "repair/driver_copy.h"
#include "repair/folder_repair.h"
#include "staging/driver_staging.h"

namespace ctl {

namespace {

// The notes on a file or folder that a step finds or misses.
constexpr const char* kExists = "exists already";
constexpr const char* kMissing = "does not exist";
constexpr const char* kMissingAtTheEnd = "does not exist: the call ends here";

}  // namespace

void PlannedSteps::Add(const char* action, std::wstring what, std::string note) {
    steps_.push_back({action, std::move(what), L"", std::move(note)});
}

RTL_OSVERSIONINFOW PlannedSteps::WindowsVersion() const {
    RTL_OSVERSIONINFOW version{};
    version.dwMajorVersion = facts_.majorVersion;
    version.dwMinorVersion = facts_.minorVersion;
    return version;
}

void PlannedSteps::EndCrashReporters() {
    Add("end processes", kCrashReporter);
}

void PlannedSteps::EnableFilePrivileges() {
    std::wstring privileges;
    for (const wchar_t* privilege : kFilePrivileges) {
        if (!privileges.empty()) privileges += L", ";
        privileges += privilege;
    }
    Add("enable privileges", privileges);
}

bool PlannedSteps::Stage(FixHelper& helper) {
    const std::wstring folder = facts_.temporaryDirectory + kStagingFolderName;
    CreateFolder(folder);
    Add("write file", folder + kStagedArchiveName, "the driver archive");
    for (const ArchiveItem& item : facts_.archive) {
        const std::wstring path = JoinPath(folder, item.path);
        if (item.isFolder) {
            CreateFolder(path);
            continue;
        }
        Add("write file", path, FileOrFolderExists(path) ? "replaces the existing file" : "");
        files_.insert(path);
        // An archive need not have an item for the folder of a file. The library creates it anyway.
        folders_.insert(SevenZip::intl::ParentDirectory(path));
    }
    helper.stagingDir = folder;
    return true;
}

void PlannedSteps::CreateFolder(const std::wstring& path) {
    Add(kCreateFolder, path, FileOrFolderExists(path) ? kExists : "");
    folders_.insert(path);
}

void PlannedSteps::GrantAccess(const std::wstring& path) {
    Add("set access of", path, "everyone may read, administrators have full access");
}

// Its result says whether there was something to copy, which a folder repair does not ask.
void PlannedSteps::CopyDrivers(const FixHelper& helper) {
    (void)CopyStagedDrivers(*this, helper);
}

void PlannedSteps::DeleteFolder(const std::wstring& path) {
    Add(kDeleteFolder, path, FileOrFolderExists(path) ? "" : kMissing);
    deleted_.insert(path);
}

bool PlannedSteps::Exists(const std::wstring& path) const {
    if (deleted_.contains(path)) return false;
    return folders_.contains(path) || files_.contains(path) || FileOrFolderExists(path);
}

void PlannedSteps::Remember(const DriverPackage& package, const std::wstring& inf) {
    remembered_[&package] = inf;
}

void PlannedSteps::Copy(const std::wstring& from, const std::wstring& to) {
    // Only the sources of the network driver do not exist (repair/driver_copy.h says why).
    const char* const note =
        Exists(from)
            ? ""
            : "copies nothing: the source does not exist, so the network folder stays empty";
    steps_.push_back({"copy file", from, to, note});
}

bool PlannedSteps::InstalledInfExists(const std::wstring& path) {
    const bool exists = FileOrFolderExists(path);
    Add(kLookFor, path, exists ? "exists, so nothing is staged" : kMissing);
    return exists;
}

MendloftFolderResult PlannedSteps::FixFolder(FixHelper& helper, bool repair, bool fixFolders) {
    const MendloftFolderResult result = RepairFolders(*this, helper, repair, fixFolders);
    // The repair ends there before its first step, and a plan without a step would explain nothing.
    if (result == kMendloftFoldersOldSystem) {
        Add("skip", L"the driver archive and the driver-store folders",
            "this Windows is older than Windows Vista");
    }
    return result;
}

std::wstring& PlannedSteps::RememberedInf(const DriverPackage& package) {
    return remembered_[&package];
}

bool PlannedSteps::StagedInfExists(const std::wstring& path) {
    const bool exists = Exists(path);
    // The network package has no path to fall back to when no INF file was staged for it.
    if (path.empty()) {
        Add(kLookFor, L"an INF file", "none is known: the call ends here");
    } else {
        Add(kLookFor, path, exists ? "" : kMissingAtTheEnd);
    }
    return exists;
}

bool PlannedSteps::ToolExists(const std::wstring& path) {
    const bool exists = FileOrFolderExists(path);
    Add(kLookFor, path, exists ? "" : kMissingAtTheEnd);
    return exists;
}

MendloftSetupResult PlannedSteps::RunInstaller(const DriverPackage& /*package*/,
                                               const std::wstring& tool, const std::wstring& inf,
                                               std::int32_t repair) {
    Add("run", InstallerCommandLine(tool, inf, repair),
        "without a window; the call waits for its end without a time limit");
    Add("enumerate devices", L"the whole device tree");
    return kMendloftSetupToolRan;
}

}  // namespace ctl
