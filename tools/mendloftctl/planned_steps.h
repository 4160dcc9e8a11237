#pragma once

#include <windows.h>

#include <cstdint>
#include <cwchar>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "core/driver_packages.h"
#include "core/fix_helper.h"
#include "mendloftctl/plan.h"

namespace ctl {

// Records the steps of a call in place of taking them. The library's routines are templates over
// their steps (install/setup_flow.h, repair/folder_repair.h, repair/driver_copy.h): with this class
// the same routines give the plan of a call, so that plan and call have one order of steps. Each
// function below does what the concepts in those headers ask of the step of that name.
//
// Every step is assumed to work. What it would create or delete is remembered, so that later steps
// find the disk as the call would find it.
class PlannedSteps {
public:
    // `facts` must outlive this object.
    explicit PlannedSteps(const PlanFacts& facts) : facts_(facts) {}

    // Hands over the recorded steps; none are left here.
    [[nodiscard]] std::vector<Step> Take() { return std::move(steps_); }

    // Records a step that is not a copy.
    void Add(const char* action, std::wstring what, std::string note = "");

    // The folder repair. Stage always succeeds; Exists is about the disk after the steps so far.
    [[nodiscard]] RTL_OSVERSIONINFOW WindowsVersion() const;
    void EndCrashReporters();
    void EnableFilePrivileges();
    bool Stage(FixHelper& helper);
    void CreateFolder(const std::wstring& path);
    void GrantAccess(const std::wstring& path);
    void CopyDrivers(const FixHelper& helper);
    void DeleteFolder(const std::wstring& path);
    [[nodiscard]] bool Exists(const std::wstring& path) const;

    // The driver copy. ForEachFile visits what this plan stages, in the order in which Windows
    // lists a folder. Files that an earlier call has left in the staging folder are not visited.
    void Remember(const DriverPackage& package, const std::wstring& inf);
    template <typename Visit>
    bool ForEachFile(const std::wstring& folder, Visit visit) const;
    void Copy(const std::wstring& from, const std::wstring& to);
    void LogCopy(const std::wstring& /*to*/) {}  // a message, which is not part of the plan

    // The driver setup. An installed INF file and the tool are looked for on the disk only, because
    // no step creates them. RunInstaller starts nothing and assumes that the tool can be started.
    [[nodiscard]] std::wstring LibraryFolder() const { return facts_.libraryFolder; }
    [[nodiscard]] std::wstring CommonFilesFolder() const { return facts_.commonFilesFolder; }
    bool InstalledInfExists(const std::wstring& path);
    MendloftFolderResult FixFolder(FixHelper& helper, bool repair, bool fixFolders);
    [[nodiscard]] std::wstring& RememberedInf(const DriverPackage& package);
    // Messages are not part of the plan either.
    void Report(const DriverPackage& /*package*/, const wchar_t* /*message*/,
                const std::wstring& /*path*/) {}
    bool StagedInfExists(const std::wstring& path);
    bool ToolExists(const std::wstring& path);
    MendloftSetupResult RunInstaller(const DriverPackage& package, const std::wstring& tool,
                                     const std::wstring& inf, std::int32_t repair);

private:
    // Compares paths like the file system, and sorts them as it lists a folder.
    struct IgnoringCase {
        bool operator()(const std::wstring& one, const std::wstring& other) const {
            return ::_wcsicmp(one.c_str(), other.c_str()) < 0;
        }
    };
    using Paths = std::set<std::wstring, IgnoringCase>;

    const PlanFacts& facts_;
    std::vector<Step> steps_;
    Paths folders_;                                            // created by earlier steps
    Paths files_;                                              // written by them
    Paths deleted_;                                            // deleted by them
    std::map<const DriverPackage*, std::wstring> remembered_;  // empty as in a new process
};

template <typename Visit>
bool PlannedSteps::ForEachFile(const std::wstring& folder, Visit visit) const {
    if (!folders_.contains(folder)) return false;
    const std::wstring start = folder + L'\\';
    for (const std::wstring& file : files_) {
        const bool liesInFolder = ::_wcsnicmp(file.c_str(), start.c_str(), start.size()) == 0 &&
                                  file.find(L'\\', start.size()) == std::wstring::npos;
        if (liesInFolder) visit(file.c_str() + start.size());
    }
    return true;
}

}  // namespace ctl
