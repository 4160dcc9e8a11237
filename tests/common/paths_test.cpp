#include "common/paths.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "support/temporary_folder.h"

namespace {

using tools::FileNameOf;
using tools::FolderOf;
using tools::FullPath;
using tools::LongPath;

TEST(FileNameOf, IsWhatFollowsTheLastSeparator) {
    EXPECT_EQ(L"b.inf", FileNameOf(L"C:\\a\\b.inf"));
    EXPECT_EQ(L"b.inf", FileNameOf(L"C:/a/b.inf"));
    EXPECT_EQ(L"b.inf", FileNameOf(L"C:b.inf"));
    EXPECT_EQ(L"b.inf", FileNameOf(L"b.inf"));
    EXPECT_EQ(L"", FileNameOf(L"C:\\a\\"));
}

TEST(FolderOf, IsWhatComesBeforeTheFileName) {
    EXPECT_EQ(L"C:\\a\\", FolderOf(L"C:\\a\\b.inf"));
    EXPECT_EQ(L"C:", FolderOf(L"C:b.inf"));
    EXPECT_EQ(L"", FolderOf(L"b.inf"));
}

TEST(FullPath, IsResolvedAgainstTheCurrentFolder) {
    wchar_t current[MAX_PATH] = {};
    ::GetCurrentDirectoryW(MAX_PATH, current);

    EXPECT_EQ(std::wstring(current) + L"\\b.inf", FullPath(L"a\\..\\b.inf"));
}

TEST(FullPath, MayBeLongerThanMaxPath) {
    const std::wstring path = L"C:\\" + std::wstring(400, L'a');

    EXPECT_EQ(path, FullPath(path));
}

TEST(FullPath, OfAnEmptyPathIsEmpty) {
    EXPECT_EQ(L"", FullPath(L""));
}

TEST(LongPath, IsEmptyForAMissingPath) {
    const TemporaryFolder folder;

    EXPECT_EQ(folder.Path(), LongPath(folder.Path()));
    EXPECT_EQ(L"", LongPath(folder / L"missing"));
}

TEST(SystemFolders, ExistAndHaveNoBackslashAtTheEnd) {
    for (const std::wstring& folder : {tools::WindowsFolder(), tools::SystemFolder()}) {
        EXPECT_TRUE(std::filesystem::is_directory(folder));
        EXPECT_NE(L'\\', folder.back());
    }
}

TEST(ProgramPath, NamesTheRunningProgram) {
    EXPECT_EQ(L"tools_common_tests.exe", FileNameOf(tools::ProgramPath()));
    EXPECT_TRUE(std::filesystem::is_regular_file(tools::ProgramPath()));
}

}  // namespace
