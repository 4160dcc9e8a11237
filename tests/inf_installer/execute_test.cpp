#include "inf_installer/inf_installer.h"

#include <gmock/gmock.h>
#include <setupapi.h>

#include <array>
#include <functional>
#include <sstream>

#include "common/elevation.h"
#include "common/published_infs.h"
#include "inf_installer/inf_test.h"
#include "inf_installer/system_checks.h"
#include "support/fake_api.h"
#include "support/fake_os.h"

namespace {

using installer::Execute;
using installer::ExitCode;
using installer::InfReading;
using installer::NativeMachine;
using installer::ParsedCommandLine;
using installer::ReadBytes;
using installer::ReadInf;
using installer::Report;
using installer::Request;
using installer::WrongToolMessage;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using tools::IsElevated;
using tools::PublishedPath;

// A function of newdev.dll that takes an INF path.
struct DriverFunction {
    bool exists = true;
    DWORD error = ERROR_SUCCESS;
    BOOL restart = FALSE;
    std::function<void(const std::wstring&)> effect = [](const std::wstring&) {};
    std::vector<std::wstring> paths;  // that it was called with

    BOOL Call(HWND parent, const wchar_t* path, DWORD flags, BOOL* restartNeeded) {
        EXPECT_EQ(nullptr, parent);
        EXPECT_EQ(0u, flags);
        paths.emplace_back(path);
        effect(path);
        *restartNeeded = restart;
        ::SetLastError(error);
        return error == ERROR_SUCCESS;
    }
};

// What Wine lacks: driver functions that have an effect or fail.
class FakeWindows {
public:
    FakeWindows() { current_ = this; }
    FakeWindows(const FakeWindows&) = delete;
    FakeWindows& operator=(const FakeWindows&) = delete;
    ~FakeWindows() { current_ = nullptr; }

    DriverFunction diInstall;
    DriverFunction diUninstall;
    bool hasIsWow64Process2 = true;
    BOOL isWow64Process2Result = TRUE;
    USHORT nativeMachine = IMAGE_FILE_MACHINE_I386;
    WORD architecture = PROCESSOR_ARCHITECTURE_INTEL;  // as GetNativeSystemInfo reports it

private:
    FARPROC LookUp(HMODULE module, const char* name) {
        if (IS_INTRESOURCE(name)) return getProcAddress_.Real(module, name);
        const std::string_view wanted = name;
        if (wanted == "DiInstallDriverW") return diInstall.exists ? Address(&DiInstall) : nullptr;
        if (wanted == "DiUninstallDriverW")
            return diUninstall.exists ? Address(&DiUninstall) : nullptr;
        if (wanted == "IsWow64Process2")
            return hasIsWow64Process2 ? Address(&IsWow64Process2) : nullptr;
        if (wanted == "GetNativeSystemInfo") return Address(&GetNativeSystemInfo);
        return getProcAddress_.Real(module, name);
    }

    template <typename Function>
    static FARPROC Address(Function function) {
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
    }

    static BOOL WINAPI DiInstall(HWND parent, const wchar_t* path, DWORD flags, BOOL* restart) {
        return current_->diInstall.Call(parent, path, flags, restart);
    }
    static BOOL WINAPI DiUninstall(HWND parent, const wchar_t* path, DWORD flags, BOOL* restart) {
        return current_->diUninstall.Call(parent, path, flags, restart);
    }
    static BOOL WINAPI IsWow64Process2(HANDLE, USHORT* process, USHORT* native) {
        *process = IMAGE_FILE_MACHINE_I386;
        *native = current_->nativeMachine;
        return current_->isWow64Process2Result;
    }

    static void WINAPI GetNativeSystemInfo(SYSTEM_INFO* info) {
        info->wProcessorArchitecture = current_->architecture;
    }

    static inline FakeWindows* current_ = nullptr;
    FakeApi<"GetProcAddress", decltype(::GetProcAddress)> getProcAddress_{
        [this](HMODULE module, const char* name) { return LookUp(module, name); }};
};

using FakeCopyOemInf = FakeApi<"SetupCopyOEMInfW", decltype(::SetupCopyOEMInfW)>;
using FakeUninstallOemInf = FakeApi<"SetupUninstallOEMInfW", decltype(::SetupUninstallOEMInfW)>;
using FakeCheckTokenMembership = FakeApi<"CheckTokenMembership", decltype(::CheckTokenMembership)>;
using FakeLoadLibrary = FakeApi<"LoadLibraryW", decltype(::LoadLibraryW)>;

class ExecuteTest : public InfTest {
protected:
    ExecuteTest() : path_(WritePackage(L"stand_in.inf", PackageText())) {}

    ExitCode Run(Request::Action action, bool dryRun = false) {
        Request request;
        request.action = action;
        request.infPath = path_;
        request.dryRun = dryRun;
        return Run({request, L""});
    }

    ExitCode Run(const ParsedCommandLine& commandLine) {
        Report report;
        EXPECT_TRUE(report.OpenLog(LogPath(), L"first"));
        return Execute(commandLine, report);
    }

    // The messages in the log, line by line, without the time.
    static std::vector<std::string> Said() {
        std::istringstream log(ReadBytes(LogPath()).value_or(""));
        std::vector<std::string> lines;
        for (std::string line; std::getline(log, line);) {
            const std::size_t afterTime = line.find("  ");
            line.pop_back();
            lines.push_back(line.substr(afterTime + 2));
        }
        lines.erase(lines.begin());
        return lines;
    }

    static std::wstring LogPath() { return Folder() + L"\\log.txt"; }

    std::wstring path_;
    FakeWindows windows_;
    FakeApi<"GetStdHandle", decltype(::GetStdHandle)> noOutput_{
        [](DWORD) -> HANDLE { return nullptr; }};
};

class Installing : public ExecuteTest {
protected:
    Installing() {
        windows_.diInstall.effect = [](const std::wstring&) {
            Publish(L"oem901.inf", PackageText());
        };
    }

    ExitCode Run() { return ExecuteTest::Run(Request::Action::kInstall); }

    int copies_ = 0;
    BOOL copySucceeds_ = TRUE;
    FakeCopyOemInf copy_{
        [this](const wchar_t* inf, const wchar_t* folder, DWORD type, DWORD style, auto...) {
            ++copies_;
            EXPECT_EQ(path_, inf);
            EXPECT_STREQ(L"C:\\inf installer test\\", folder);
            EXPECT_EQ(static_cast<DWORD>(SPOST_PATH), type);
            EXPECT_EQ(0u, style);
            if (copySucceeds_) Publish(L"oem902.inf", PackageText());
            ::SetLastError(ERROR_ACCESS_DENIED);
            return copySucceeds_;
        }};
};

TEST_F(Installing, InstallsOnTheDevicesPresent) {
    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_THAT(windows_.diInstall.paths, ElementsAre(L"C:\\inf installer test\\stand_in.inf"));
    EXPECT_EQ(0, copies_);
    EXPECT_THAT(Said(), ElementsAre("Installed: C:\\inf installer test\\stand_in.inf",
                                    "It is published as oem901.inf."));
}

TEST_F(Installing, PassesTheFullPathOfARelativeOne) {
    ASSERT_TRUE(::SetCurrentDirectoryW(Folder().c_str()));
    path_ = L"stand_in.inf";

    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_THAT(windows_.diInstall.paths, ElementsAre(L"C:\\inf installer test\\stand_in.inf"));
    ::SetCurrentDirectoryW(L"C:\\");
}

TEST_F(Installing, ReportsThatARestartIsNeeded) {
    windows_.diInstall.restart = TRUE;

    EXPECT_EQ(ExitCode::kDoneButRestartNeeded, Run());

    EXPECT_THAT(Said(), Contains("Windows has to be restarted to complete this."));
}

TEST_F(Installing, ReportsWhatWindowsRefusedAndWhy) {
    windows_.diInstall.error = ERROR_ACCESS_DENIED;

    EXPECT_EQ(ExitCode::kRefused, Run());

    EXPECT_THAT(Said(),
                ElementsAre("Windows refused to install C:\\inf installer test\\stand_in.inf. "
                            "Access denied. (error 5)"));
    EXPECT_EQ(0, copies_);
}

TEST_F(Installing, ReportsTheCodeOfAMissingCatalog) {
    windows_.diInstall.error = ERROR_NO_CATALOG_FOR_OEM_INF;

    EXPECT_EQ(ExitCode::kRefused, Run());

    EXPECT_THAT(Said(), Contains(testing::EndsWith("(error 0xE000022F)")));
}

TEST_F(Installing, ReportsThatAFileOfThePackageIsMissing) {
    windows_.diInstall.error = ERROR_FILE_NOT_FOUND;

    EXPECT_EQ(ExitCode::kRefused, Run());

    EXPECT_THAT(Said(), Contains(testing::EndsWith("File not found. (error 2)")));
}

TEST_F(Installing, SucceedsWhenTheDevicesHaveADriverThatIsAsGood) {
    windows_.diInstall.error = ERROR_NO_MORE_ITEMS;

    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_EQ(0, copies_);
    EXPECT_THAT(
        Said(),
        Contains("In the driver store; the present devices have a driver that is at least as "
                 "good: C:\\inf installer test\\stand_in.inf"));
}

TEST_F(Installing, OnlyAddsToTheDriverStoreWhereWindowsCannotInstallOnDevices) {
    windows_.diInstall.exists = false;

    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_EQ(1, copies_);
    EXPECT_THAT(Said(),
                ElementsAre("Added to the driver store; devices use it after the next rescan: "
                            "C:\\inf installer test\\stand_in.inf",
                            "It is published as oem902.inf."));
}

TEST_F(Installing, OnlyAddsToTheDriverStoreWithoutNewdev) {
    const FakeLoadLibrary noNewdev([](const wchar_t*) { return nullptr; });

    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_EQ(1, copies_);
    EXPECT_THAT(windows_.diInstall.paths, IsEmpty());
}

TEST_F(Installing, LoadsNewdevFromTheSystemFolderOnly) {
    std::vector<std::wstring> loaded;
    const FakeLoadLibrary recorder([&](const wchar_t* path) {
        loaded.emplace_back(path);
        return nullptr;
    });

    (void)Run();

    EXPECT_THAT(loaded, ElementsAre(L"C:\\windows\\system32\\newdev.dll"));
}

TEST_F(Installing, AddsToTheDriverStoreWhenWindowsReportsSuccessButPublishedNothing) {
    windows_.diInstall.effect = [](const std::wstring&) {};

    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_EQ(1, copies_);
}

TEST_F(Installing, ReportsThatTheDriverStoreRefused) {
    windows_.diInstall.exists = false;
    copySucceeds_ = FALSE;

    EXPECT_EQ(ExitCode::kRefused, Run());

    EXPECT_THAT(Said(), ElementsAre("Windows refused to add C:\\inf installer test\\stand_in.inf. "
                                    "Access denied. (error 5)"));
}

TEST_F(Installing, DoesNotAddAPackageThatLacksAFile) {
    windows_.diInstall.exists = false;
    ::DeleteFileW(DriverOf(path_).c_str());

    EXPECT_EQ(ExitCode::kRefused, Run());

    EXPECT_EQ(0, copies_);
    EXPECT_THAT(Said(), ElementsAre("A file of the package is missing: "
                                    "C:\\inf installer test\\stand_in.sys",
                                    "Windows refused to add C:\\inf installer test\\stand_in.inf. "
                                    "File not found. (error 2)"));
}

TEST_F(Installing, DoesNothingWithoutAdministratorRights) {
    const FakeCheckTokenMembership notElevated([](HANDLE token, PSID, BOOL* isMember) {
        EXPECT_EQ(nullptr, token);
        *isMember = FALSE;
        return TRUE;
    });

    EXPECT_EQ(ExitCode::kNotElevated, Run());

    EXPECT_THAT(
        Said(),
        ElementsAre("Administrator rights are needed: start this from an elevated program or "
                    "prompt."));
    EXPECT_THAT(windows_.diInstall.paths, IsEmpty());
    EXPECT_EQ(0, copies_);
}

TEST_F(Installing, TreatsAFailedCheckOfRightsAsNotElevated) {
    const FakeCheckTokenMembership fails([](HANDLE, PSID, BOOL* isMember) {
        *isMember = TRUE;
        return FALSE;
    });

    EXPECT_EQ(ExitCode::kNotElevated, Run());
}

TEST_F(Installing, TreatsAMissingAdministratorsGroupAsNotElevated) {
    const FakeApi<"AllocateAndInitializeSid", decltype(::AllocateAndInitializeSid)> fails(
        [](auto...) { return FALSE; });

    EXPECT_EQ(ExitCode::kNotElevated, Run());
}

TEST_F(Installing, ChangesNothingInADryRun) {
    EXPECT_EQ(ExitCode::kDone, ExecuteTest::Run(Request::Action::kInstall, /*dryRun=*/true));

    EXPECT_THAT(Said(), ElementsAre("Would install C:\\inf installer test\\stand_in.inf"));
    EXPECT_THAT(windows_.diInstall.paths, IsEmpty());
    EXPECT_EQ(0, copies_);
}

TEST_F(Installing, ReportsInADryRunWhatIsPublishedAlready) {
    Publish(L"oem903.inf", PackageText());

    EXPECT_EQ(ExitCode::kDone, ExecuteTest::Run(Request::Action::kInstall, /*dryRun=*/true));

    EXPECT_THAT(Said(), Contains("It is published as oem903.inf."));
}

TEST_F(Installing, NeedsNoRightsForADryRun) {
    const FakeCheckTokenMembership notElevated([](HANDLE, PSID, BOOL* isMember) {
        *isMember = FALSE;
        return TRUE;
    });

    EXPECT_EQ(ExitCode::kDone, ExecuteTest::Run(Request::Action::kInstall, /*dryRun=*/true));
}

class Removing : public ExecuteTest {
protected:
    Removing() {
        Publish(L"oem901.inf", PackageText());
        Publish(L"oem905.inf", PackageText("a neighbour"));
        windows_.diUninstall.effect = [](const std::wstring& path) { ::DeleteFileW(path.c_str()); };
    }

    ExitCode Run() { return ExecuteTest::Run(Request::Action::kRemove); }

    std::vector<std::wstring> forced_;
    std::wstring refused_;  // the name whose forced removal fails
    std::wstring leaves_;   // the name whose forced removal succeeds without effect
    FakeUninstallOemInf force_{[this](const wchar_t* name, DWORD flags, void*) {
        forced_.emplace_back(name);
        EXPECT_EQ(static_cast<DWORD>(SUOI_FORCEDELETE), flags);
        ::SetLastError(ERROR_SHARING_VIOLATION);
        if (leaves_ == name) return TRUE;
        return refused_ == name ? FALSE : ::DeleteFileW(PublishedPath(name).c_str());
    }};
};

TEST_F(Removing, RemovesThePackageFromItsDevicesAndLeavesItsNeighbours) {
    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_THAT(windows_.diUninstall.paths, ElementsAre(PublishedPath(L"oem901.inf")));
    EXPECT_THAT(forced_, IsEmpty());
    EXPECT_THAT(NewlyPublished(),
                ElementsAre(testing::Pair(L"oem905.inf", PackageText("a neighbour"))));
    EXPECT_THAT(
        Said(),
        ElementsAre(
            "Removed oem901.inf, a published copy of C:\\inf installer test\\stand_in.inf"));
}

TEST_F(Removing, RemovesEveryCopy) {
    Publish(L"oem902.inf", PackageText());

    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_THAT(
        windows_.diUninstall.paths,
        testing::UnorderedElementsAre(PublishedPath(L"oem901.inf"), PublishedPath(L"oem902.inf")));
}

TEST_F(Removing, ReportsThatARestartIsNeeded) {
    windows_.diUninstall.restart = TRUE;

    EXPECT_EQ(ExitCode::kDoneButRestartNeeded, Run());

    EXPECT_THAT(Said(), Contains("Windows has to be restarted to complete this."));
}

TEST_F(Removing, ForcesTheRemovalWhereWindowsHasNoDiUninstallDriver) {
    windows_.diUninstall.exists = false;

    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_THAT(forced_, ElementsAre(L"oem901.inf"));
}

TEST_F(Removing, ForcesTheRemovalWhenDiUninstallDriverFails) {
    windows_.diUninstall.error = ERROR_ACCESS_DENIED;
    windows_.diUninstall.effect = [](const std::wstring&) {};

    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_THAT(forced_, ElementsAre(L"oem901.inf"));
    EXPECT_THAT(
        Said(),
        ElementsAre(
            "Windows did not uninstall oem901.inf from its devices. Access denied. (error 5)",
            "Removed oem901.inf, a published copy of C:\\inf installer test\\stand_in.inf"));
}

TEST_F(Removing, RemembersThatARestartIsNeededWhenItForcesTheRemoval) {
    windows_.diUninstall.effect = [](const std::wstring&) {};
    windows_.diUninstall.restart = TRUE;

    EXPECT_EQ(ExitCode::kDoneButRestartNeeded, Run());
}

TEST_F(Removing, ReportsThatThePackageIsStillPublishedAfterAForcedRemoval) {
    windows_.diUninstall.exists = false;
    leaves_ = L"oem901.inf";

    EXPECT_EQ(ExitCode::kRefused, Run());

    EXPECT_THAT(Said(), ElementsAre(testing::EndsWith("(error 80)")));
}

TEST_F(Removing, ForcesTheRemovalWhenThePackageIsStillPublishedAfterASuccess) {
    windows_.diUninstall.effect = [](const std::wstring&) {};

    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_THAT(forced_, ElementsAre(L"oem901.inf"));
}

TEST_F(Removing, ReportsWhatWindowsRefusedAndWhy) {
    windows_.diUninstall.exists = false;
    refused_ = L"oem901.inf";

    EXPECT_EQ(ExitCode::kRefused, Run());

    EXPECT_THAT(Said(), ElementsAre(StartsWith("Windows refused to remove oem901.inf. ")));
    EXPECT_THAT(Said(), Contains(testing::EndsWith("(error 32)")));
}

TEST_F(Removing, ContinuesWithTheNextCopyWhenOneIsRefused) {
    Publish(L"oem902.inf", PackageText());
    windows_.diUninstall.exists = false;
    refused_ = L"oem901.inf";

    EXPECT_EQ(ExitCode::kRefused, Run());

    EXPECT_THAT(forced_, testing::UnorderedElementsAre(L"oem901.inf", L"oem902.inf"));
    EXPECT_THAT(
        Said(),
        Contains("Removed oem902.inf, a published copy of C:\\inf installer test\\stand_in.inf"));
}

TEST_F(Removing, SucceedsWhenNothingIsPublished) {
    path_ = WritePackage(L"other.inf", PackageText("never published"));

    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_THAT(windows_.diUninstall.paths, IsEmpty());
    EXPECT_THAT(forced_, IsEmpty());
    EXPECT_THAT(Said(), ElementsAre("Nothing to remove: C:\\inf installer test\\other.inf is not "
                                    "published"));
}

TEST_F(Removing, ForcesTheRemovalOfAnInfWithoutAnOemName) {
    ::DeleteFileW(PublishedPath(L"oem901.inf").c_str());
    Publish(L"stand_in.inf", PackageText());

    EXPECT_EQ(ExitCode::kDone, Run());

    EXPECT_THAT(windows_.diUninstall.paths, IsEmpty());
    EXPECT_THAT(forced_, ElementsAre(L"stand_in.inf"));
}

TEST_F(Removing, DoesNothingWithoutAdministratorRights) {
    const FakeCheckTokenMembership notElevated([](HANDLE, PSID, BOOL* isMember) {
        *isMember = FALSE;
        return TRUE;
    });

    EXPECT_EQ(ExitCode::kNotElevated, Run());

    EXPECT_THAT(windows_.diUninstall.paths, IsEmpty());
    EXPECT_THAT(forced_, IsEmpty());
}

TEST_F(Removing, ChangesNothingInADryRun) {
    EXPECT_EQ(ExitCode::kDone, ExecuteTest::Run(Request::Action::kRemove, /*dryRun=*/true));

    EXPECT_THAT(windows_.diUninstall.paths, IsEmpty());
    EXPECT_THAT(forced_, IsEmpty());
    EXPECT_THAT(
        Said(),
        ElementsAre(
            "Would remove oem901.inf, a published copy of C:\\inf installer test\\stand_in.inf"));
}

TEST_F(Removing, ReportsInADryRunThatThereIsNothingToRemove) {
    path_ = WritePackage(L"other.inf", PackageText("never published"));

    EXPECT_EQ(ExitCode::kDone, ExecuteTest::Run(Request::Action::kRemove, /*dryRun=*/true));

    EXPECT_THAT(Said(), ElementsAre(StartsWith("Nothing to remove: ")));
}

class Executing : public ExecuteTest {};

TEST_F(Executing, ShowsTheProblemAndTheUsageForAWrongCall) {
    EXPECT_EQ(ExitCode::kWrongUsage, Run({Request{}, L"Nothing was asked for."}));

    EXPECT_EQ("Nothing was asked for.", Said().at(0));
    EXPECT_EQ("Installs or removes one driver package.", Said().at(1));
}

TEST_F(Executing, ShowsTheUsageForHelp) {
    EXPECT_EQ(ExitCode::kDone, ExecuteTest::Run(Request::Action::kHelp));

    EXPECT_EQ("Installs or removes one driver package.", Said().at(0));
}

TEST_F(Executing, ReportsThatTheInfIsMissing) {
    path_ = L"C:\\no such.inf";

    EXPECT_EQ(ExitCode::kInfUnreadable, ExecuteTest::Run(Request::Action::kInstall));

    EXPECT_THAT(Said(),
                ElementsAre("Cannot read the INF file C:\\no such.inf. File not found. (error 2)"));
}

TEST_F(Executing, RefusesAFolder) {
    path_ = Folder();

    EXPECT_EQ(ExitCode::kInfUnreadable, ExecuteTest::Run(Request::Action::kRemove));
}

TEST_F(Executing, ReportsTheLineInWhichAnInfIsDamaged) {
    path_ = WritePackage(L"damaged.inf", "[Version]\r\nSignature=\"$Windows NT$\"\r\n[Broken\r\n");

    EXPECT_EQ(ExitCode::kInfUnreadable, ExecuteTest::Run(Request::Action::kInstall));

    EXPECT_THAT(Said(), ElementsAre(StartsWith("Not a usable INF file (line 3): C:\\inf installer "
                                               "test\\damaged.inf. ")));
    EXPECT_THAT(windows_.diInstall.paths, IsEmpty());
}

TEST_F(Executing, RefusesAnEmptyInf) {
    path_ = WritePackage(L"empty.inf", "");

    EXPECT_EQ(ExitCode::kInfUnreadable, ExecuteTest::Run(Request::Action::kInstall));
}

TEST_F(Executing, RefusesAnInfWithoutASignature) {
    path_ = WritePackage(L"unsigned.inf", "[Version]\r\nClass=USB\r\n");

    EXPECT_EQ(ExitCode::kInfUnreadable, ExecuteTest::Run(Request::Action::kInstall));
}

TEST_F(Executing, RefusesAFileLargerThanAnyInf) {
    const UniqueFile file(::CreateFileW(path_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, 0, nullptr));
    ASSERT_NE(INVALID_SET_FILE_POINTER,
              ::SetFilePointer(file.Get(), 17 * 1024 * 1024, nullptr, FILE_BEGIN));
    ASSERT_TRUE(::SetEndOfFile(file.Get()));

    EXPECT_EQ(ExitCode::kInfUnreadable, ExecuteTest::Run(Request::Action::kInstall));

    EXPECT_THAT(Said(), ElementsAre(testing::EndsWith("(error 223)")));
}

TEST_F(Executing, FindsTheLongNameOfAnInfThatIsGivenByItsShortName) {
    const std::wstring path = WritePackage(L"a stand-in with a long name.inf", PackageText());
    std::array<wchar_t, MAX_PATH> shortPath{};
    ASSERT_NE(0u, ::GetShortPathNameW(path.c_str(), shortPath.data(), MAX_PATH));
    ASSERT_NE(path, shortPath.data());

    const InfReading reading = ReadInf(shortPath.data());

    ASSERT_TRUE(reading.inf);
    EXPECT_EQ(L"a stand-in with a long name.inf", reading.inf->name);
}

TEST_F(Executing, RefusesToWorkOnAWindowsOfAnotherBitness) {
    windows_.nativeMachine = IMAGE_FILE_MACHINE_AMD64;

    EXPECT_EQ(ExitCode::kRefused, ExecuteTest::Run(Request::Action::kInstall));

    EXPECT_EQ(
        "This is the tool for 32-bit Windows, and this Windows is 64-bit: use InfInstallerx64.exe.",
        Said().at(0));
    EXPECT_THAT(Said().at(1), testing::EndsWith("(error 0xE0000235)"));
    EXPECT_THAT(windows_.diInstall.paths, IsEmpty());
}

TEST_F(Executing, RefusesToRemoveOnAWindowsOfAnotherBitness) {
    windows_.nativeMachine = IMAGE_FILE_MACHINE_AMD64;
    Publish(L"oem901.inf", PackageText());

    EXPECT_EQ(ExitCode::kRefused, ExecuteTest::Run(Request::Action::kRemove));

    EXPECT_THAT(NewlyPublished(), Contains(testing::Key(L"oem901.inf")));
}

TEST_F(Executing, RefusesToWorkOnArm64) {
    windows_.nativeMachine = IMAGE_FILE_MACHINE_ARM64;

    EXPECT_EQ(ExitCode::kRefused, ExecuteTest::Run(Request::Action::kInstall));

    EXPECT_EQ(
        "This Windows runs on a processor for which there is neither a tool nor a driver package "
        "(such as "
        "ARM64): driver packages cannot be installed or removed here.",
        Said().at(0));
}

class NativeMachineTest : public testing::Test {
protected:
    FakeWindows windows_;
};

TEST_F(NativeMachineTest, IsWhatIsWow64Process2Reports) {
    windows_.nativeMachine = IMAGE_FILE_MACHINE_ARM64;

    EXPECT_EQ(IMAGE_FILE_MACHINE_ARM64, NativeMachine());
}

TEST_F(NativeMachineTest, ComesFromGetNativeSystemInfoWithoutIsWow64Process2) {
    windows_.hasIsWow64Process2 = false;

    windows_.architecture = PROCESSOR_ARCHITECTURE_AMD64;
    EXPECT_EQ(IMAGE_FILE_MACHINE_AMD64, NativeMachine());
    windows_.architecture = PROCESSOR_ARCHITECTURE_INTEL;
    EXPECT_EQ(IMAGE_FILE_MACHINE_I386, NativeMachine());
}

TEST_F(NativeMachineTest, ComesFromGetNativeSystemInfoWhenIsWow64Process2Fails) {
    windows_.isWow64Process2Result = FALSE;
    windows_.nativeMachine = IMAGE_FILE_MACHINE_ARM64;
    windows_.architecture = PROCESSOR_ARCHITECTURE_AMD64;

    EXPECT_EQ(IMAGE_FILE_MACHINE_AMD64, NativeMachine());
}

TEST(NativeMachineForReal, IsThatOfThePrefix) {
    EXPECT_EQ(PrefixIs64Bit() ? IMAGE_FILE_MACHINE_AMD64 : IMAGE_FILE_MACHINE_I386,
              NativeMachine());
}

TEST(IsElevated, IsTrueForTheUserOfWine) {
    EXPECT_TRUE(IsElevated());
}

struct Pairing {
    const char* name;
    WORD tool;
    WORD native;
    const wchar_t* start;  // of the message
};

class WrongToolMessageFor : public testing::TestWithParam<Pairing> {};

TEST_P(WrongToolMessageFor, StatesTheMismatch) {
    const std::wstring message = WrongToolMessage(GetParam().tool, GetParam().native);

    EXPECT_EQ(GetParam().start, message.substr(0, message.find(L',')));
}

INSTANTIATE_TEST_SUITE_P(
    , WrongToolMessageFor,
    testing::Values(
        Pairing{"x86OnX86", IMAGE_FILE_MACHINE_I386, IMAGE_FILE_MACHINE_I386, L""},
        Pairing{"x64OnX64", IMAGE_FILE_MACHINE_AMD64, IMAGE_FILE_MACHINE_AMD64, L""},
        Pairing{"x86OnX64", IMAGE_FILE_MACHINE_I386, IMAGE_FILE_MACHINE_AMD64,
                L"This is the tool for 32-bit Windows"},
        Pairing{"x64OnX86", IMAGE_FILE_MACHINE_AMD64, IMAGE_FILE_MACHINE_I386,
                L"This is the tool for 64-bit Windows"},
        Pairing{"x64OnArm64", IMAGE_FILE_MACHINE_AMD64, IMAGE_FILE_MACHINE_ARM64,
                L"This Windows runs on a processor for which there is neither a tool nor a driver "
                L"package (such as ARM64): driver packages cannot be installed or removed here."}),
    [](const auto& row) { return row.param.name; });

}  // namespace
