#include "install/library_folder.h"

#include <gtest/gtest.h>

#include <cwchar>

#include "support/child_process.h"
#include "support/fake_os.h"
#include "support/repair_setting.h"

namespace {

TEST(LibraryFolder, IsTheFolderOfTheLibrarysOwnFile) {
    const FreshLibraryState state;

    EXPECT_EQ(ProgramFolder(), LibraryFolder());
}

TEST(FolderOfLibrary, HasATrailingBackslashOnlyInTheRootOfADrive) {
    EXPECT_EQ(L"C:\\host app\\libs", FolderOfLibrary(L"C:\\host app\\libs\\libmendloft.dll"));
    EXPECT_EQ(L"C:\\", FolderOfLibrary(L"C:\\libmendloft.dll"));
}

TEST(LibraryFolder, AsksForTheLibrarysModuleWithRoomFor260Characters) {
    g_libraryModule = reinterpret_cast<HMODULE>(0x1230000);
    HMODULE asked = nullptr;
    DWORD room = 0;
    const FakeApi<"GetModuleFileNameW", decltype(::GetModuleFileNameW)> fileName(
        [&](HMODULE module, wchar_t* path, DWORD size) -> DWORD {
            asked = module;
            room = size;
            std::wcscpy(path, L"D:\\host app\\libs\\libmendloft.dll");
            return 1;
        });

    EXPECT_EQ(L"D:\\host app\\libs", LibraryFolder());

    EXPECT_EQ(reinterpret_cast<HMODULE>(0x1230000), asked);
    EXPECT_EQ(260u, room);
}

TEST(LibraryFolder, SurvivesAPathThatFillsItsBuffer) {
    const FakeApi<"GetModuleFileNameW", decltype(::GetModuleFileNameW)> cut(
        [](HMODULE, wchar_t* path, DWORD size) {
            std::wmemset(path, L'x', size);  // as on Windows XP: cut off and not terminated
            path[2] = L'\\';
            return size;
        });

    EXPECT_EQ(L"xx", LibraryFolder());
}

TEST(LibraryFolder, IsEmptyWhenTheSystemCallFails) {
    const FakeApi<"GetModuleFileNameW", decltype(::GetModuleFileNameW)> fails(
        [](HMODULE, wchar_t*, DWORD) -> DWORD { return 0; });

    EXPECT_EQ(L"", LibraryFolder());
}

TEST(InstallerToolPath, DependsOnTheBitnessOfWindows) {
    FakeOs os;

    os.Is64Bit(true);
    EXPECT_EQ(L"C:\\lib\\files\\inf\\InfInstallerx64.exe", InstallerToolPath(L"C:\\lib"));
    os.Is64Bit(false);
    EXPECT_EQ(L"C:\\lib\\files\\inf\\InfInstallerx86.exe", InstallerToolPath(L"C:\\lib"));
}

TEST(DrivePrefix, IsTheStartOfTheCommonFilesPath) {
    EXPECT_EQ(L"C:", DrivePrefix(L"D:\\apps\\host", L"C:\\Program Files\\Common Files"));
}

TEST(DrivePrefix, EndsAtTheIndexOfTheFirstSeparatorInTheLibraryFolder) {
    EXPECT_EQ(L"C:\\Pro", DrivePrefix(L"abcdef\\x", L"C:\\Program Files\\Common Files"));
}

TEST(DrivePrefix, AcceptsSlashesAsSeparators) {
    EXPECT_EQ(L"C:", DrivePrefix(L"D:/apps\\host", L"C:\\Program Files\\Common Files"));
}

TEST(DrivePrefix, IsEmptyForALibraryOnANetworkShare) {
    EXPECT_EQ(L"", DrivePrefix(L"\\\\server\\share", L"C:\\Program Files\\Common Files"));
}

TEST(DrivePrefix, IsTheWholePathForALibraryFolderWithoutASeparator) {
    EXPECT_EQ(L"C:\\Program Files\\Common Files",
              DrivePrefix(L"D:", L"C:\\Program Files\\Common Files"));
}

TEST(DrivePrefix, IsNoLongerThanTheCommonFilesPath) {
    EXPECT_EQ(L"C:", DrivePrefix(L"a long folder\\x", L"C:"));
}

TEST(CommonFilesFolder, IsThe32BitOne) {
    EXPECT_EQ(PrefixIs64Bit() ? L"C:\\Program Files (x86)\\Common Files"
                              : L"C:\\Program Files\\Common Files",
              CommonFilesFolder());
}

TEST(CommonFilesFolder, IsLookedUpWithoutAWindowAndNotCreated) {
    struct {
        HWND owner;
        int folder;
        BOOL create;
    } seen{};
    const FakeApi<"SHGetSpecialFolderPathW", BOOL WINAPI(HWND, LPWSTR, int, BOOL)> ask(
        [&](HWND owner, wchar_t* path, int folder, BOOL create) {
            seen = {owner, folder, create};
            std::wcscpy(path, L"E:\\Common");
            return TRUE;
        });

    EXPECT_EQ(L"E:\\Common", CommonFilesFolder());

    EXPECT_EQ(nullptr, seen.owner);
    EXPECT_EQ(0x2C, seen.folder);
    EXPECT_EQ(FALSE, seen.create);
}

TEST(CommonFilesFolder, IsEmptyWhenTheSystemCallFailsWhateverItLeavesInTheBuffer) {
    const FakeApi<"SHGetSpecialFolderPathW", BOOL WINAPI(HWND, LPWSTR, int, BOOL)> fails(
        [](HWND, wchar_t* path, int, BOOL) {
            std::wcscpy(path, L"rubbish");
            return FALSE;
        });

    EXPECT_EQ(L"", CommonFilesFolder());
}

}  // namespace
