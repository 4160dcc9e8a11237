#include "mendloftctl/diagnosis.h"

#include <algorithm>

#include "common/elevation.h"
#include "common/paths.h"
#include "common/published_infs.h"
#include "common/text.h"
#include "core/driver_packages.h"
#include "core/fix_helper.h"
#include "install/library_folder.h"
#include "mendloftctl/device_service.h"
#include "mendloftctl/library_functions.h"
#include "mendloftctl/file_versions.h"
#include "platform/directory_listing.h"
#include "platform/os_probes.h"
#include "platform/paths.h"
#include "staging/driver_staging.h"

namespace ctl {

using tools::EqualIgnoringCase;
using tools::FileNameOf;
using tools::IsElevated;
using tools::MayBePublishedAs;
using tools::PublishedPath;
using tools::QueryOriginalName;

namespace {

// `version` reads the version of such a file.
FileFacts LookAtFile(const std::wstring& path, std::wstring (*version)(const std::wstring&)) {
    const bool exists = FileOrFolderExists(path);
    return {path, exists, exists ? version(path) : std::wstring()};
}

FolderEntry MakeEntry(const std::wstring& path, const WIN32_FIND_DATAW& found) {
    constexpr int bitsOfHalf = 32;
    return {.path = path,
            .size = (std::uint64_t{found.nFileSizeHigh} << bitsOfHalf) | found.nFileSizeLow,
            .isFolder = IsDirectory(found),
            .isReadOnly = (found.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0,
            .modified = found.ftLastWriteTime};
}

// Lists everything in `folder`, at every depth. `below` is the path of `folder` relative to the
// first one, with a backslash at its end. A link is listed but not entered: it may lead back to a
// folder above it.
void ListFolder(const std::wstring& folder, const std::wstring& below,
                std::vector<FolderEntry>& entries) {
    (void)ForEachEntry(folder + L"\\*", [&](const WIN32_FIND_DATAW& found) {
        if (IsSelfOrParent(found)) return;
        const std::wstring name = found.cFileName;
        entries.push_back(MakeEntry(below + name, found));
        if (IsDirectory(found) && (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
            ListFolder(folder + L"\\" + name, below + name + L"\\", entries);
    });
}

FolderFacts LookAtFolder(const std::wstring& path) {
    FolderFacts facts{path, FileOrFolderExists(path), {}};
    ListFolder(path, L"", facts.entries);
    return facts;
}

// The library's own tables name the folders, so the diagnosis looks where a repair would.
std::vector<std::wstring> StoreFolders(const RTL_OSVERSIONINFOW& windows) {
    FixHelper helper;
    helper.InitStorePaths(windows.dwMajorVersion, windows.dwMinorVersion);
    return helper.StorePaths();
}

// The staging folder of calls that are not isolated. An isolated call has removed its own.
std::wstring StagingFolder() {
    return TemporaryDirectory() + kStagingFolderName;
}

// The published INF files that were called `infName` before Windows published them: every version
// of the package that the driver store holds, unlike the installer tool's search, which compares
// the content too.
std::vector<FileFacts> FindPublished(std::wstring_view infName) {
    std::vector<FileFacts> found;
    (void)ForEachEntry(PublishedPath(L"*.inf"), [&](const WIN32_FIND_DATAW& entry) {
        const std::wstring_view name = entry.cFileName;
        if (!MayBePublishedAs(name, infName)) return;
        const std::wstring path = PublishedPath(name);
        const std::optional<std::wstring> original = QueryOriginalName(path);
        if (original && EqualIgnoringCase(*original, infName))
            found.push_back(LookAtFile(path, VersionOfInf));
    });
    return found;
}

PackageFacts LookAtPackage(const LibraryFunction& function, const std::wstring& libraryFolder) {
    const DriverPackage& package = *function.driverFiles;
    const std::wstring staged = package.StagedInf(StagingFolder(), IsOs64Bit());
    return {.name = std::string(function.package),
            .installedInf = LookAtFile(
                InstalledInfPath(package, libraryFolder, CommonFilesFolder()), VersionOfInf),
            .stagedInf = LookAtFile(staged, VersionOfInf),
            .publishedInfs = FindPublished(FileNameOf(staged))};
}

}  // namespace

Diagnosis Diagnose(const std::wstring& library) {
    const std::wstring libraryFolder = FolderOfLibrary(library);
    Diagnosis diagnosis;
    diagnosis.windows = WindowsVersion();
    diagnosis.is64Bit = IsOs64Bit();
    diagnosis.isElevated = IsElevated();
    diagnosis.library = LookAtFile(library, VersionOfProgram);
    diagnosis.installerTool = LookAtFile(InstallerToolPath(libraryFolder), VersionOfProgram);
    for (const std::wstring& folder : StoreFolders(diagnosis.windows)) {
        diagnosis.storeFolders.push_back(LookAtFolder(folder));
    }
    diagnosis.stagingFolder = LookAtFolder(StagingFolder());
    for (const LibraryFunction& function : SetupFunctions()) {
        diagnosis.packages.push_back(LookAtPackage(function, libraryFolder));
    }
    diagnosis.deviceService = DeviceServiceState();
    return diagnosis;
}

// The staged INF files have no step of their own, because the staging folder is listed as a whole.
// One step stands for the searches of all packages in the INF folder of Windows.
Plan MakeDiagnosisPlan(const std::wstring& library) {
    constexpr const char* list = "list folder";
    const std::wstring libraryFolder = FolderOfLibrary(library);
    Plan plan;
    const auto add = [&](const char* action, const std::wstring& what) {
        plan.steps.push_back({action, what, L"", ""});
    };
    add("ask Windows for", L"its version, its bitness and the rights of this process");
    add(kLookFor, library);
    add(kLookFor, InstallerToolPath(libraryFolder));
    for (const std::wstring& folder : StoreFolders(WindowsVersion())) add(list, folder);
    add(list, StagingFolder());
    for (const LibraryFunction& function : SetupFunctions()) {
        const std::wstring inf =
            InstalledInfPath(*function.driverFiles, libraryFolder, CommonFilesFolder());
        if (!inf.empty()) add(kLookFor, inf);
    }
    add(kLookFor, PublishedPath(L"*.inf"));
    add("ask Windows for", std::wstring(L"the state of the service ") + kDeviceServiceName);
    return plan;
}

}  // namespace ctl
