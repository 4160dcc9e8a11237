#include "platform/paths.h"

#include <gmock/gmock.h>

#include "support/fake_api.h"
#include "support/temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(JoinPath, PutsOneBackslashBetweenBaseAndComponent) {
    EXPECT_EQ(L"C:\\a\\b", JoinPath(L"C:\\a", L"b"));
}

TEST(JoinPath, AddsNothingAfterABackslash) {
    EXPECT_EQ(L"C:\\a\\b", JoinPath(L"C:\\a\\", L"b"));
}

TEST(JoinPath, AddsNothingAfterASlash) {
    EXPECT_EQ(L"C:/a/b", JoinPath(L"C:/a/", L"b"));
}

TEST(JoinPath, ReturnsTheComponentForAnEmptyBase) {
    EXPECT_EQ(L"b", JoinPath(L"", L"b"));
}

TEST(JoinPath, AddsTheBackslashEvenForAnEmptyComponent) {
    EXPECT_EQ(L"C:\\a\\", JoinPath(L"C:\\a", L""));
}

TEST(FileOrFolderExists, IsTrueForFilesAndFoldersOnly) {
    const TemporaryFolder folder;
    WriteFileContent(folder / L"file");

    EXPECT_TRUE(FileOrFolderExists(folder / L"file"));
    EXPECT_TRUE(FileOrFolderExists(folder.Path()));
    EXPECT_FALSE(FileOrFolderExists(folder / L"nothing"));
    EXPECT_FALSE(FileOrFolderExists(L""));
}

class DeleteDirectoryTreeTest : public testing::Test {
protected:
    TemporaryFolder folder;
    std::wstring tree = folder / L"tree";
};

TEST_F(DeleteDirectoryTreeTest, RemovesTheFolderAndEverythingBelowIt) {
    WriteFileContent(tree + L"\\a.inf");
    WriteFileContent(tree + L"\\sub\\b.sys");
    WriteFileContent(tree + L"\\sub\\.hidden\\c");
    std::filesystem::create_directory(tree + L"\\empty");

    EXPECT_TRUE(DeleteDirectoryTree(tree));

    EXPECT_THAT(Tree(folder.Path()), IsEmpty());
}

TEST_F(DeleteDirectoryTreeTest, LeavesItsNeighboursAlone) {
    WriteFileContent(tree + L"\\a");
    WriteFileContent(folder / L"tree2\\a");

    DeleteDirectoryTree(tree);

    EXPECT_THAT(Tree(folder.Path()), ElementsAre(L"tree2", L"tree2\\a"));
}

TEST_F(DeleteDirectoryTreeTest, RemovesAnEmptyFolder) {
    std::filesystem::create_directory(tree);

    EXPECT_TRUE(DeleteDirectoryTree(tree));

    EXPECT_FALSE(Exists(tree));
}

TEST_F(DeleteDirectoryTreeTest, AcceptsAPathThatEndsInABackslash) {
    WriteFileContent(tree + L"\\a");

    EXPECT_TRUE(DeleteDirectoryTree(tree + L"\\"));

    EXPECT_FALSE(Exists(tree));
}

TEST_F(DeleteDirectoryTreeTest, ListsAPathThatEndsInASlashWithABackslashAdded) {
    std::wstring pattern;
    const FakeApi<"FindFirstFileW", decltype(::FindFirstFileW)> listing(
        [&](const wchar_t* name, WIN32_FIND_DATAW*) {
            pattern = name;
            return INVALID_HANDLE_VALUE;
        });

    DeleteDirectoryTree(L"C:/a/");

    EXPECT_EQ(L"C:/a/\\*.*", pattern);
}

TEST_F(DeleteDirectoryTreeTest, ListsAPathThatEndsInABackslashAsItIs) {
    std::wstring pattern;
    const FakeApi<"FindFirstFileW", decltype(::FindFirstFileW)> listing(
        [&](const wchar_t* name, WIN32_FIND_DATAW*) {
            pattern = name;
            return INVALID_HANDLE_VALUE;
        });

    DeleteDirectoryTree(L"C:\\a\\");

    EXPECT_EQ(L"C:\\a\\*.*", pattern);
}

TEST_F(DeleteDirectoryTreeTest, ReturnsFalseAndChangesNothingForAMissingFolder) {
    EXPECT_FALSE(DeleteDirectoryTree(tree));

    EXPECT_THAT(Tree(folder.Path()), IsEmpty());
}

TEST_F(DeleteDirectoryTreeTest, ReturnsFalseForAFileAndLeavesIt) {
    WriteFileContent(tree);

    EXPECT_FALSE(DeleteDirectoryTree(tree));

    EXPECT_TRUE(Exists(tree));
}

TEST_F(DeleteDirectoryTreeTest, ReturnsTrueAlthoughAReadOnlyFileAndTheFoldersAboveItStay) {
    WriteFileContent(tree + L"\\sub\\locked");
    WriteFileContent(tree + L"\\other");
    ::SetFileAttributesW((tree + L"\\sub\\locked").c_str(), FILE_ATTRIBUTE_READONLY);

    EXPECT_TRUE(DeleteDirectoryTree(tree));

    EXPECT_THAT(Tree(tree), ElementsAre(L"sub", L"sub\\locked"));
}

TEST_F(DeleteDirectoryTreeTest, ContinuesAfterAFileInUse) {
    WriteFileContent(tree + L"\\a");
    WriteFileContent(tree + L"\\b");
    const HANDLE inUse =
        ::CreateFileW((tree + L"\\a").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);

    EXPECT_TRUE(DeleteDirectoryTree(tree));

    EXPECT_THAT(Tree(tree), ElementsAre(L"a"));
    ::CloseHandle(inUse);
}

TEST_F(DeleteDirectoryTreeTest, EntersFolderLinksLikeFolders) {
    // Fakes the listing of a folder link, which Wine cannot create here.
    int listings = 0;
    std::vector<std::wstring> patterns;
    const FakeApi<"FindFirstFileW", decltype(::FindFirstFileW)> first(
        [&](const wchar_t* name, WIN32_FIND_DATAW* entry) {
            patterns.emplace_back(name);
            *entry = {};
            if (++listings > 1) return INVALID_HANDLE_VALUE;
            entry->dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
            std::wcscpy(entry->cFileName, L"link");
            return reinterpret_cast<HANDLE>(1);
        });
    const FakeApi<"FindNextFileW", decltype(::FindNextFileW)> next(
        [](HANDLE, WIN32_FIND_DATAW*) { return FALSE; });
    const FakeApi<"FindClose", decltype(::FindClose)> close([](HANDLE) { return TRUE; });

    EXPECT_TRUE(DeleteDirectoryTree(L"C:\\no such folder"));

    EXPECT_THAT(patterns,
                ElementsAre(L"C:\\no such folder\\*.*", L"C:\\no such folder\\link\\*.*"));
}

TEST_F(DeleteDirectoryTreeTest, RemovesTheFolderByThePathItWasGiven) {
    std::filesystem::create_directory(tree);
    std::vector<std::wstring> removed;
    const FakeApi<"RemoveDirectoryW", decltype(::RemoveDirectoryW)> remove(
        [&](const wchar_t* path) {
            removed.emplace_back(path);
            return FALSE;
        });

    EXPECT_TRUE(DeleteDirectoryTree(tree));
    EXPECT_TRUE(DeleteDirectoryTree(tree + L"\\"));

    EXPECT_THAT(removed, ElementsAre(tree, tree + L"\\"));
}

TEST_F(DeleteDirectoryTreeTest, ClosesEverySearchBeforeItRemovesTheFolder) {
    WriteFileContent(tree + L"\\sub\\a");
    std::vector<std::string> calls;
    FakeApi<"FindClose", decltype(::FindClose)>* real = nullptr;
    FakeApi<"FindClose", decltype(::FindClose)> close([&](HANDLE search) {
        calls.emplace_back("close");
        return real->Real(search);
    });
    real = &close;
    const FakeApi<"RemoveDirectoryW", decltype(::RemoveDirectoryW)> remove([&](const wchar_t*) {
        calls.emplace_back("remove");
        return TRUE;
    });

    DeleteDirectoryTree(tree);

    EXPECT_THAT(calls, ElementsAre("close", "remove", "close", "remove"));
}

TEST_F(DeleteDirectoryTreeTest, ThrowsForAnEmptyPath) {
    try {
        DeleteDirectoryTree(L"");
        FAIL() << "no exception";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ("invalid string position", error.what());
    }
}

}  // namespace
