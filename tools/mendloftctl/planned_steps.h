#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <map>
#include <set>
#include <string>

#include "core/driver_packages.h"
#include "core/fix_helper.h"
#include "mendloftctl/plan.h"

namespace ctl {

// The steps of the library's routines as a plan notes them down, in place of those that the library
// takes: walked by the same order of steps (install/setup_flow.h, repair/folder_repair.h,
// repair/driver_copy.h), they give the plan of a call.
//
// What a step would leave behind is remembered, so that later steps find it: every step is assumed
// to work.
class PlannedSteps {
public:
    explicit PlannedSteps(const PlanFacts& facts) : facts_(facts) {}

    [[nodiscard]] std::vector<Step> Take() { return std::move(steps_); }

    void Add(const char* action, std::wstring what, std::string note = "");

    // The folder repair.
    [[nodiscard]] RTL_OSVERSIONINFOW WindowsVersion() const;
    void EndCrashReporters();
    void EnableFilePrivileges();
    bool Stage(FixHelper& helper);
    void CreateFolder(const std::wstring& path);
    void GrantAccess(const std::wstring& path);
    void CopyDrivers(const FixHelper& helper);
    void DeleteFolder(const std::wstring& path);
    [[nodiscard]] bool Exists(const std::wstring& path) const;

    // The driver copy.
    void Remember(const DriverPackage& package, const std::wstring& inf);
    template <typename Visit>
    bool ForEachFile(const std::wstring& folder, Visit visit) const;
    void Copy(const std::wstring& from, const std::wstring& to);
    void LogCopy(const std::wstring& /*to*/) {}  // a message, which is not a part of the plan

    // The driver setup.
    [[nodiscard]] std::wstring LibraryFolder() const { return facts_.libraryFolder; }
    [[nodiscard]] std::wstring CommonFilesFolder() const { return facts_.commonFilesFolder; }
    bool InstalledInfExists(const std::wstring& path);
    MendloftFolderResult FixFolder(FixHelper& helper, bool repair, bool fixFolders);
    [[nodiscard]] std::wstring& RememberedInf(const DriverPackage& package);
    void Report(const DriverPackage& /*package*/, const wchar_t* /*message*/,
                const std::wstring& /*path*/) {}
    bool StagedInfExists(const std::wstring& path);
    bool ToolExists(const std::wstring& path);
    MendloftSetupResult RunInstaller(const DriverPackage& package, const std::wstring& tool,
                                     const std::wstring& inf, std::int32_t repair);

private:
    // As file names compare, and as a folder is listed.
    struct IgnoringCase {
        bool operator()(const std::wstring& one, const std::wstring& other) const {
            return ::_wcsicmp(one.c_str(), other.c_str()) < 0;
        }
    };
    using Paths = std::set<std::wstring, IgnoringCase>;

    const PlanFacts& facts_;
    std::vector<Step> steps_;
    Paths folders_;                                            // that steps before have created
    Paths files_;                                              // that they have written
    Paths deleted_;                                            // what they have deleted
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
