#include <windows.h>
#include <aclapi.h>
#include <tlhelp32.h>

#include <gmock/gmock.h>

#include "core/fix_helper.h"
#include "support/captured_output.h"
#include "support/child_process.h"
#include "support/fake_os.h"
#include "support/repair_setting.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

constexpr bool kRepair = true;
constexpr bool kRemove = false;
constexpr bool kWithFolders = true;
constexpr bool kStagingOnly = false;

constexpr const wchar_t* kUsb = L"usbaapl64.inf_amd64_c0e4d8c2aef471b7";
constexpr const wchar_t* kNet = L"netaapl64.inf_amd64_56f23639c9617984";
constexpr const wchar_t* kUsb32 = L"usbaapl.inf_x86_e165816441187e06";
constexpr const wchar_t* kUsb32Second = L"usbaapl.inf_x86_b11f4eb7484c8d3b";
constexpr const wchar_t* kNet32 = L"netaapl.inf_x86_84f98e613445a1f8";

// 64-bit Windows 10 unless a test says otherwise.
class FixFolderTest : public testing::Test {
protected:
    FixFolderTest() {
        os.Version(10, 0);
        os.Is64Bit(true);
    }

    FreshLibraryState state;
    PrivateTemporaryDirectory temp;
    EmptyDriverStore store;
    FakeOs os;
    FixHelper helper;
};

TEST_F(FixFolderTest, RebuildsTheFoldersAndFillsTheUsbFolder) {
    EXPECT_EQ(4, helper.FixFolder(kRepair, kWithFolders));

    EXPECT_THAT(Tree(store.Folder(kUsb)), ElementsAre(L"USBAAPL64.CAT", L"usbaapl64.inf",
                                                      L"usbaapl64.sys", L"usbaaplrc.dll"));
    EXPECT_TRUE(Exists(store.Folder(kNet)));
    EXPECT_THAT(Tree(store.Folder(kNet)), IsEmpty());
    EXPECT_EQ(2u, Tree(EmptyDriverStore::kRoot).size() - 4);
}

TEST_F(FixFolderTest, RebuildsThreeFoldersWhenThereIsASecondUsbFolder) {
    os.Is64Bit(false);

    EXPECT_EQ(4, helper.FixFolder(kRepair, kWithFolders));

    EXPECT_THAT(Tree(store.Folder(kUsb32)), Contains(L"usbaapl.inf"));
    EXPECT_EQ(Tree(store.Folder(kUsb32)), Tree(store.Folder(kUsb32Second)));
    EXPECT_TRUE(Exists(store.Folder(kNet32)));
}

TEST_F(FixFolderTest, RemembersTheStagedInfFilesWhenItRebuilds) {
    helper.FixFolder(kRepair, kWithFolders);

    EXPECT_EQ(temp.StagingFolder() + L"\\usb\\x64\\usbaapl64.inf", StagedUsbInfPath);
    EXPECT_EQ(temp.StagingFolder() + L"\\net\\x64\\netaapl64.inf", StagedNetInfPath);
}

TEST_F(FixFolderTest, Returns4EvenWhenNoFolderCanBeCreatedOrFilled) {
    EmptyDriverStore::Clear();  // only the last part of each path is created

    EXPECT_EQ(4, helper.FixFolder(kRepair, kWithFolders));

    EXPECT_FALSE(Exists(EmptyDriverStore::kRoot));
}

TEST_F(FixFolderTest, KeepsOtherFilesInAFolderThatItRebuilds) {
    WriteFileContent(store.Folder(kUsb) + L"\\stranger");

    EXPECT_EQ(4, helper.FixFolder(kRepair, kWithFolders));

    EXPECT_THAT(Tree(store.Folder(kUsb)), IsSupersetOf({L"stranger", L"usbaapl64.inf"}));
}

TEST_F(FixFolderTest, RemovesTheFoldersAndTheirContent) {
    WriteFileContent(store.Folder(kUsb) + L"\\a\\b");
    WriteFileContent(store.Folder(kNet) + L"\\c");
    WriteFileContent(store.Folder(L"another.inf_amd64_1234") + L"\\d");

    EXPECT_EQ(0, helper.FixFolder(kRemove, kWithFolders));

    EXPECT_THAT(store.Content(),
                ElementsAre(L"another.inf_amd64_1234", L"another.inf_amd64_1234\\d"));
}

TEST_F(FixFolderTest, Returns0WhenThereIsNothingToRemove) {
    EXPECT_EQ(0, helper.FixFolder(kRemove, kWithFolders));
}

TEST_F(FixFolderTest, LeavesTheSecondUsbFolderOf32BitWindowsAloneOn64Bit) {
    WriteFileContent(store.Folder(kUsb32Second) + L"\\a");

    EXPECT_EQ(0, helper.FixFolder(kRemove, kWithFolders));

    EXPECT_TRUE(Exists(store.Folder(kUsb32Second) + L"\\a"));
}

TEST_F(FixFolderTest, RemovesAllThreeFoldersOn32Bit) {
    os.Is64Bit(false);
    WriteFileContent(store.Folder(kUsb32) + L"\\a");
    WriteFileContent(store.Folder(kUsb32Second) + L"\\a");
    WriteFileContent(store.Folder(kNet32) + L"\\a");

    EXPECT_EQ(0, helper.FixFolder(kRemove, kWithFolders));

    EXPECT_THAT(store.Content(), IsEmpty());
}

TEST_F(FixFolderTest, Returns1ForARemovalAfterA32BitRepairBecauseOneFileIsReadOnly) {
    os.Is64Bit(false);
    ASSERT_EQ(4, helper.FixFolder(kRepair, kWithFolders));
    const PrivateTemporaryDirectory another;

    EXPECT_EQ(1, helper.FixFolder(kRemove, kWithFolders));

    EXPECT_THAT(Tree(store.Folder(kUsb32Second)), ElementsAre(L"usbaapl.PNF"));
}

// Puts a file in use into a folder, which then cannot be removed.
class FolderInUse {
public:
    explicit FolderInUse(const std::wstring& folder) {
        WriteFileContent(folder + L"\\in use");
        file_.Reset(::CreateFileW((folder + L"\\in use").c_str(), GENERIC_READ, 0, nullptr,
                                  OPEN_EXISTING, 0, nullptr));
    }

private:
    UniqueFile file_;
};

TEST_F(FixFolderTest, Returns1WhenTheUsbFolderStaysButStillRemovesTheNetworkFolder) {
    const FolderInUse usb(store.Folder(kUsb));
    WriteFileContent(store.Folder(kNet) + L"\\c");

    EXPECT_EQ(1, helper.FixFolder(kRemove, kWithFolders));

    EXPECT_FALSE(Exists(store.Folder(kNet)));
}

TEST_F(FixFolderTest, Returns1WhenTheNetworkFolderStays) {
    const FolderInUse net(store.Folder(kNet));

    EXPECT_EQ(1, helper.FixFolder(kRemove, kWithFolders));
}

TEST_F(FixFolderTest, Returns1WithoutTouchingTheOtherFoldersWhenTheSecondUsbFolderStays) {
    os.Is64Bit(false);
    const FolderInUse second(store.Folder(kUsb32Second));
    WriteFileContent(store.Folder(kUsb32) + L"\\a");
    WriteFileContent(store.Folder(kNet32) + L"\\a");

    EXPECT_EQ(1, helper.FixFolder(kRemove, kWithFolders));

    EXPECT_TRUE(Exists(store.Folder(kUsb32) + L"\\a"));
    EXPECT_TRUE(Exists(store.Folder(kNet32) + L"\\a"));
}

TEST_F(FixFolderTest, StagesForARemovalToo) {
    EXPECT_EQ(0, helper.FixFolder(kRemove, kWithFolders));

    EXPECT_TRUE(Exists(temp.StagingFolder() + L"\\usb\\x64\\usbaapl64.inf"));
    EXPECT_EQ(L"", StagedUsbInfPath);
}

TEST_F(FixFolderTest, OnlyStagesForARepairWithoutFolders) {
    WriteFileContent(store.Folder(kUsb) + L"\\a");

    EXPECT_EQ(0, helper.FixFolder(kRepair, kStagingOnly));
    EXPECT_TRUE(Exists(temp.StagingFolder() + L"\\usb\\x64\\usbaapl64.inf"));
    EXPECT_THAT(store.Content(), ElementsAre(kUsb, std::wstring(kUsb) + L"\\a"));
}

TEST_F(FixFolderTest, OnlyStagesForARemovalWithoutFolders) {
    WriteFileContent(store.Folder(kUsb) + L"\\a");

    EXPECT_EQ(0, helper.FixFolder(kRemove, kStagingOnly));

    EXPECT_THAT(store.Content(), ElementsAre(kUsb, std::wstring(kUsb) + L"\\a"));
}

TEST_F(FixFolderTest, Returns1WhenStagingFailsAndTouchesNoFolder) {
    WriteFileContent(temp.StagingFolder(), "a file in the way");
    WriteFileContent(store.Folder(kUsb) + L"\\a");

    EXPECT_EQ(1, helper.FixFolder(kRepair, kWithFolders));
    EXPECT_EQ(1, helper.FixFolder(kRemove, kWithFolders));
    EXPECT_EQ(1, helper.FixFolder(kRepair, kStagingOnly));

    EXPECT_THAT(store.Content(), ElementsAre(kUsb, std::wstring(kUsb) + L"\\a"));
}

TEST_F(FixFolderTest, WritesNoLineOfItsOwn) {
    const CapturedDebugOutput output;

    helper.FixFolder(kRemove, kWithFolders);
    EXPECT_THAT(output.messages, IsEmpty());

    const PrivateTemporaryDirectory another;
    helper.FixFolder(kRepair, kWithFolders);
    EXPECT_THAT(output.messages, AllOf(Not(IsEmpty()), Each(StartsWith(L"CopyDrivers usbapp :"))));
}

// Notes the system calls of the routine in order. Listing processes, securing folders and copying
// files fail; everything else is real.
class FixFolderOrderTest : public FixFolderTest {
protected:
    void Note(std::string step) { steps.push_back(std::move(step)); }

    static std::string Narrow(const wchar_t* text) {
        const std::wstring_view wide(text);
        return {wide.begin(), wide.end()};
    }

    std::vector<std::string> steps;
    DWORD tokenAccess = 0;
    std::vector<HANDLE> tokens;
    std::vector<HANDLE> adjusted;

    FakeApi<"CreateToolhelp32Snapshot", decltype(::CreateToolhelp32Snapshot)> snapshot{
        [this](DWORD, DWORD) {
            Note("processes");
            return INVALID_HANDLE_VALUE;
        }};
    FakeApi<"OpenProcessToken", decltype(::OpenProcessToken)> token{
        [this](HANDLE process, DWORD access, HANDLE* opened) {
            Note("token");
            tokenAccess = access;
            const BOOL done = token.Real(process, access, opened);
            tokens.push_back(*opened);
            return done;
        }};
    FakeApi<"LookupPrivilegeValueW", decltype(::LookupPrivilegeValueW)> lookup{
        [this](const wchar_t* system, const wchar_t* name, LUID* id) {
            Note(Narrow(name));
            return lookup.Real(system, name, id);
        }};
    FakeApi<"AdjustTokenPrivileges", decltype(::AdjustTokenPrivileges)> adjust{
        [this](HANDLE from, BOOL all, TOKEN_PRIVILEGES* privileges, DWORD size,
               TOKEN_PRIVILEGES* previous, DWORD* previousSize) {
            EXPECT_EQ(DWORD{SE_PRIVILEGE_ENABLED}, privileges->Privileges[0].Attributes);
            adjusted.push_back(from);
            return adjust.Real(from, all, privileges, size, previous, previousSize);
        }};
    FakeApi<"GetTempPathW", decltype(::GetTempPathW)> tempPath{[this](DWORD size, wchar_t* path) {
        Note("staging");
        return tempPath.Real(size, path);
    }};
    FakeApi<"CreateDirectoryW", decltype(::CreateDirectoryW)> create{
        [this](const wchar_t* path, SECURITY_ATTRIBUTES* security) {
            EXPECT_EQ(nullptr, security);
            const std::wstring_view name = path;
            if (name.starts_with(EmptyDriverStore::kRoot)) {
                Note("create " +
                     Narrow(path).substr(std::wstring_view(EmptyDriverStore::kRoot).size() + 1));
            }
            return create.Real(path, security);
        }};
    FakeApi<"SetNamedSecurityInfoW", decltype(::SetNamedSecurityInfoW)> secure{
        [this](wchar_t* path, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID, PSID, ACL*,
               ACL*) -> DWORD {
            Note("secure " +
                 Narrow(path).substr(std::wstring_view(EmptyDriverStore::kRoot).size() + 1));
            return ERROR_INVALID_PARAMETER;
        }};
    FakeApi<"CopyFileW", decltype(::CopyFileW)> copy{[this](const wchar_t*, const wchar_t*, BOOL) {
        if (steps.back() != "copy") Note("copy");
        return FALSE;
    }};
};

TEST_F(FixFolderOrderTest, RebuildsInThisOrder) {
    EXPECT_EQ(4, helper.FixFolder(kRepair, kWithFolders));

    EXPECT_THAT(steps, ElementsAre("processes", "token", "SeRestorePrivilege", "SeBackupPrivilege",
                                   "staging", "create usbaapl64.inf_amd64_c0e4d8c2aef471b7",
                                   "secure usbaapl64.inf_amd64_c0e4d8c2aef471b7",
                                   "create netaapl64.inf_amd64_56f23639c9617984",
                                   "secure netaapl64.inf_amd64_56f23639c9617984", "copy"));
}

TEST_F(FixFolderOrderTest, CreatesAndSecuresTheSecondUsbFolderBetweenTheOtherTwo) {
    os.Is64Bit(false);

    EXPECT_EQ(4, helper.FixFolder(kRepair, kWithFolders));

    steps.erase(steps.begin(), steps.begin() + 5);
    EXPECT_THAT(steps, ElementsAre("create usbaapl.inf_x86_e165816441187e06",
                                   "secure usbaapl.inf_x86_e165816441187e06",
                                   "create usbaapl.inf_x86_b11f4eb7484c8d3b",
                                   "secure usbaapl.inf_x86_b11f4eb7484c8d3b",
                                   "create netaapl.inf_x86_84f98e613445a1f8",
                                   "secure netaapl.inf_x86_84f98e613445a1f8", "copy"));
}

using FakeRemoveDirectory = FakeApi<"RemoveDirectoryW", decltype(::RemoveDirectoryW)>;

TEST_F(FixFolderOrderTest, RemovesTheUsbFolderBeforeTheNetworkFolder) {
    std::filesystem::create_directory(store.Folder(kNet));
    std::filesystem::create_directory(store.Folder(kUsb));
    std::vector<std::wstring> removed;
    const FakeRemoveDirectory remove([&](const wchar_t* path) {
        removed.emplace_back(path);
        return remove.Real(path);
    });

    EXPECT_EQ(0, helper.FixFolder(kRemove, kWithFolders));

    EXPECT_THAT(removed, ElementsAre(store.Folder(kUsb), store.Folder(kNet)));
}

TEST_F(FixFolderOrderTest, RemovesTheSecondUsbFolderFirstAndTheNetworkFolderLast) {
    os.Is64Bit(false);
    std::filesystem::create_directory(store.Folder(kNet32));
    std::filesystem::create_directory(store.Folder(kUsb32));
    std::filesystem::create_directory(store.Folder(kUsb32Second));
    std::vector<std::wstring> removed;
    const FakeRemoveDirectory remove([&](const wchar_t* path) {
        removed.emplace_back(path);
        return remove.Real(path);
    });

    EXPECT_EQ(0, helper.FixFolder(kRemove, kWithFolders));

    EXPECT_THAT(removed, ElementsAre(store.Folder(kUsb32Second), store.Folder(kUsb32),
                                     store.Folder(kNet32)));
}

TEST_F(FixFolderOrderTest, SecuresAFolderThatAlreadyExists) {
    std::filesystem::create_directory(store.Folder(kUsb));

    helper.FixFolder(kRepair, kWithFolders);

    EXPECT_THAT(steps, Contains("secure usbaapl64.inf_amd64_c0e4d8c2aef471b7"));
}

TEST_F(FixFolderOrderTest, OpensItsTokenToAdjustPrivilegesAndToQuery) {
    helper.FixFolder(kRepair, kStagingOnly);

    EXPECT_EQ(0x28u, tokenAccess);
    ASSERT_EQ(1u, tokens.size());
    EXPECT_THAT(adjusted, ElementsAre(tokens[0], tokens[0]));
}

TEST_F(FixFolderOrderTest, LeavesTheTokenOpen) {
    helper.FixFolder(kRepair, kStagingOnly);

    DWORD flags = 0;
    ASSERT_EQ(1u, tokens.size());
    EXPECT_TRUE(::GetHandleInformation(tokens[0], &flags));
}

TEST_F(FixFolderOrderTest, DoesNothingOnWindowsXp) {
    os.Version(5, 1);

    EXPECT_EQ(2, helper.FixFolder(kRepair, kWithFolders));
    EXPECT_EQ(2, helper.FixFolder(kRemove, kStagingOnly));

    EXPECT_THAT(steps, IsEmpty());
    EXPECT_THAT(Tree(temp.folder.Path()), IsEmpty());
    EXPECT_EQ(L"", helper.usbStorePath);
}

TEST_F(FixFolderOrderTest, TreatsAnUnknownVersionAsTooOld) {
    os.WithoutRtlGetVersion();

    EXPECT_EQ(2, helper.FixFolder(kRepair, kWithFolders));
}

TEST_F(FixFolderOrderTest, ComparesTheVersionAsUnsigned) {
    os.Version(0x80000000, 0);

    EXPECT_EQ(0, helper.FixFolder(kRepair, kStagingOnly));
}

TEST_F(FixFolderOrderTest, ContinuesWithoutAToken) {
    const FakeApi<"OpenProcessToken", decltype(::OpenProcessToken)> none(
        [](HANDLE, DWORD, HANDLE*) { return FALSE; });

    EXPECT_EQ(0, helper.FixFolder(kRepair, kStagingOnly));
}

TEST_F(FixFolderOrderTest, PassesTheRecordSizeWhenItAsksForTheVersion) {
    helper.FixFolder(kRepair, kStagingOnly);

    EXPECT_EQ(276u, os.askedWithSize);
}

TEST_F(FixFolderTest, EndsACrashReporterBeforeItStages) {
    std::filesystem::copy_file(ProgramFolder() + L"\\sleeper.exe", temp.folder / L"WerFault.exe");
    const ChildProcess crashReporter(temp.folder / L"WerFault.exe");

    helper.FixFolder(kRepair, kStagingOnly);

    EXPECT_EQ(9u, crashReporter.ExitCode());
}

TEST_F(FixFolderTest, LeavesACrashReporterAloneOnWindowsXp) {
    os.Version(5, 1);
    std::filesystem::copy_file(ProgramFolder() + L"\\sleeper.exe", temp.folder / L"WerFault.exe");
    const ChildProcess crashReporter(temp.folder / L"WerFault.exe");

    EXPECT_EQ(2, helper.FixFolder(kRepair, kStagingOnly));

    EXPECT_TRUE(crashReporter.IsRunning());
}

}  // namespace
