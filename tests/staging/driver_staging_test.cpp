#include "staging/driver_staging.h"

#include <windows.h>
#include <shellapi.h>

#include <gmock/gmock.h>

#include "core/fix_helper.h"
#include "support/fake_api.h"
#include "support/repair_setting.h"

namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::IsSupersetOf;

std::string DriverResource() {
    const HMODULE module = ::GetModuleHandleW(nullptr);
    const HRSRC resource = ::FindResourceExW(module, L"DRIVER", MAKEINTRESOURCEW(102), 2052);
    const auto* bytes = static_cast<const char*>(::LockResource(::LoadResource(module, resource)));
    return {bytes, ::SizeofResource(module, resource)};
}

class WriteDriverResourceTest : public testing::Test {
protected:
    FreshLibraryState state;
    TemporaryFolder folder;
    std::wstring path = folder / L"driver.7z";
};

TEST_F(WriteDriverResourceTest, WritesTheResourceByteForByte) {
    EXPECT_TRUE(WriteDriverResource(path));

    EXPECT_GT(DriverResource().size(), 32u);
    EXPECT_TRUE(DriverResource() == FileContent(path));
}

TEST_F(WriteDriverResourceTest, ReplacesALongerFile) {
    WriteFileContent(path, std::string(DriverResource().size() + 1000, 'x'));

    EXPECT_TRUE(WriteDriverResource(path));

    EXPECT_TRUE(DriverResource() == FileContent(path));
}

TEST_F(WriteDriverResourceTest, ReturnsFalseWhenTheFileCannotBeCreated) {
    EXPECT_FALSE(WriteDriverResource(folder / L"no such folder\\driver.7z"));
}

TEST_F(WriteDriverResourceTest, ReturnsTrueAndLeavesAnEmptyFileWithoutTheResource) {
    g_libraryModule = ::GetModuleHandleW(L"kernel32");

    EXPECT_TRUE(WriteDriverResource(path));

    EXPECT_TRUE(Exists(path));
    EXPECT_EQ("", FileContent(path));
}

TEST_F(WriteDriverResourceTest, ReturnsTrueWhenTheWriteFails) {
    const FakeApi<"WriteFile", decltype(::WriteFile)> full(
        [](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) { return FALSE; });

    EXPECT_TRUE(WriteDriverResource(path));
}

TEST_F(WriteDriverResourceTest, CreatesTheFileForWritingAndSharesItForWriting) {
    struct {
        std::wstring path;
        DWORD access, share, disposition, flags;
        const void *security, *templateFile;
    } seen{};
    const FakeApi<"CreateFileW", decltype(::CreateFileW)> create(
        [&](const wchar_t* name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
            DWORD disposition, DWORD flags, HANDLE templateFile) {
            seen = {name, access, share, disposition, flags, security, templateFile};
            return INVALID_HANDLE_VALUE;
        });

    EXPECT_FALSE(WriteDriverResource(L"C:\\x"));

    EXPECT_EQ(L"C:\\x", seen.path);
    EXPECT_EQ(DWORD{GENERIC_WRITE}, seen.access);
    EXPECT_EQ(DWORD{FILE_SHARE_WRITE}, seen.share);
    EXPECT_EQ(DWORD{CREATE_ALWAYS}, seen.disposition);
    EXPECT_EQ(DWORD{FILE_ATTRIBUTE_NORMAL}, seen.flags);
    EXPECT_EQ(nullptr, seen.security);
    EXPECT_EQ(nullptr, seen.templateFile);
}

TEST_F(WriteDriverResourceTest, WritesAllBytesInOneCallAndClosesTheFile) {
    int writes = 0;
    FakeApi<"WriteFile", decltype(::WriteFile)>* real = nullptr;
    FakeApi<"WriteFile", decltype(::WriteFile)> write(
        [&](HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* overlapped) {
            ++writes;
            return real->Real(file, bytes, size, written, overlapped);
        });
    real = &write;

    EXPECT_TRUE(WriteDriverResource(path));

    EXPECT_EQ(1, writes);
    EXPECT_TRUE(::DeleteFileW(path.c_str()));
}

class StageDriverPackageTest : public testing::Test {
protected:
    FreshLibraryState state;
    PrivateTemporaryDirectory temp;
    FixHelper helper;
};

TEST_F(StageDriverPackageTest, UnpacksTheDriverFoldersIntoTheStagingFolder) {
    EXPECT_TRUE(helper.StageDriverPackage());

    EXPECT_THAT(
        Tree(temp.StagingFolder()),
        IsSupersetOf({L"driver.7z", L"usb\\x64\\usbaapl64.inf", L"usb\\x86\\usbaapl.inf",
                      L"net\\x64\\netaapl64.inf", L"net\\x86\\netaapl.inf",
                      L"applekis\\x64\\AppleKIS.inf", L"applekis\\x86",
                      L"applersm\\x64\\AppleRSM.inf", L"applersm\\x86",
                      L"appleusbdevice\\x64\\AppleUsb.inf", L"appleusbdevice\\x86", L"path.txt"}));
}

TEST_F(StageDriverPackageTest, LeavesThe32BitFoldersOfTheNewerPackagesEmpty) {
    ASSERT_TRUE(helper.StageDriverPackage());

    EXPECT_THAT(Tree(temp.StagingFolder() + L"\\applekis\\x86"), IsEmpty());
    EXPECT_THAT(Tree(temp.StagingFolder() + L"\\applersm\\x86"), IsEmpty());
    EXPECT_THAT(Tree(temp.StagingFolder() + L"\\appleusbdevice\\x86"), IsEmpty());
}

TEST_F(StageDriverPackageTest, KeepsTheReadOnlyAttributeOfThePrecompiledInf) {
    ASSERT_TRUE(helper.StageDriverPackage());

    const DWORD attributes =
        ::GetFileAttributesW((temp.StagingFolder() + L"\\usb\\x86\\usbaapl.PNF").c_str());
    EXPECT_NE(0u, attributes & FILE_ATTRIBUTE_READONLY);
}

TEST_F(StageDriverPackageTest, RecordsTheStagingFolderWithoutATrailingBackslash) {
    EXPECT_TRUE(helper.StageDriverPackage());

    EXPECT_EQ(temp.folder.Path() + L"\\mendloft", helper.stagingDir);
}

TEST_F(StageDriverPackageTest, LeavesTheArchiveFileInPlace) {
    EXPECT_TRUE(helper.StageDriverPackage());

    EXPECT_TRUE(DriverResource() == FileContent(temp.ArchiveFile()));
}

TEST_F(StageDriverPackageTest, ReusesAnExistingStagingFolderAndRemovesNothingFromIt) {
    WriteFileContent(temp.ArchiveFile(), "an old archive");
    WriteFileContent(temp.StagingFolder() + L"\\usb\\x64\\usbaapl64.inf", "an old file");
    WriteFileContent(temp.StagingFolder() + L"\\stranger", "keep me");

    EXPECT_TRUE(helper.StageDriverPackage());

    EXPECT_TRUE(DriverResource() == FileContent(temp.ArchiveFile()));
    EXPECT_NE("an old file", FileContent(temp.StagingFolder() + L"\\usb\\x64\\usbaapl64.inf"));
    EXPECT_EQ("keep me", FileContent(temp.StagingFolder() + L"\\stranger"));
}

TEST_F(StageDriverPackageTest, CreatesTheStagingFolderOnlyWhenItIsMissing) {
    int creations = 0;
    const FakeApi<"CreateDirectoryW", decltype(::CreateDirectoryW)> create(
        [&](const wchar_t* path, SECURITY_ATTRIBUTES* security) {
            if (path == temp.StagingFolder()) ++creations;
            return create.Real(path, security);
        });

    EXPECT_TRUE(helper.StageDriverPackage());
    EXPECT_EQ(1, creations);

    RemoveTree(temp.StagingFolder() + L"\\usb");  // holds a read-only file
    EXPECT_TRUE(helper.StageDriverPackage());
    EXPECT_EQ(1, creations);
}

// Windows' shell deletes read-only files when told not to ask. Wine's refuses to.
class ShellThatDeletesReadOnlyFiles {
    FakeApi<"SHFileOperationW", decltype(::SHFileOperationW)> shell_{
        [this](SHFILEOPSTRUCTW* operation) {
            ::SetFileAttributesW(operation->pFrom, FILE_ATTRIBUTE_NORMAL);
            return shell_.Real(operation);
        }};
};

TEST_F(StageDriverPackageTest, StagesASecondTimeOverTheReadOnlyFile) {
    ASSERT_TRUE(helper.StageDriverPackage());
    const ShellThatDeletesReadOnlyFiles windowsShell;

    EXPECT_TRUE(helper.StageDriverPackage());
}

TEST_F(StageDriverPackageTest, FailsWhenAFileInTheWayCannotBeDeleted) {
    ASSERT_TRUE(helper.StageDriverPackage());
    FixHelper second;
    const FakeApi<"SHFileOperationW", decltype(::SHFileOperationW)> refusal(
        [](SHFILEOPSTRUCTW*) { return ERROR_ACCESS_DENIED; });

    EXPECT_FALSE(second.StageDriverPackage());

    EXPECT_EQ(L"", second.stagingDir);
}

TEST_F(StageDriverPackageTest, FailsAndCreatesNothingWithoutATemporaryDirectory) {
    const FakeApi<"GetTempPathW", decltype(::GetTempPathW)> none(
        [](DWORD, wchar_t*) -> DWORD { return 0; });

    EXPECT_FALSE(helper.StageDriverPackage());

    EXPECT_THAT(Tree(temp.folder.Path()), IsEmpty());
    EXPECT_EQ(L"", helper.stagingDir);
}

TEST_F(StageDriverPackageTest, AsksForTheTemporaryDirectoryWithRoomFor260Characters) {
    DWORD room = 0;
    const FakeApi<"GetTempPathW", decltype(::GetTempPathW)> none(
        [&](DWORD size, wchar_t*) -> DWORD {
            room = size;
            return 0;
        });

    (void)helper.StageDriverPackage();

    EXPECT_EQ(260u, room);
}

TEST_F(StageDriverPackageTest, FailsWhenTheTemporaryDirectoryDoesNotFit) {
    const FakeApi<"GetTempPathW", decltype(::GetTempPathW)> tooLong(
        [](DWORD, wchar_t*) -> DWORD { return 300; });

    EXPECT_FALSE(helper.StageDriverPackage());
}

struct LongDirectory {
    const char* name;
    std::size_t length;  // of the temporary directory, with its backslash
    bool createsFolder;
    bool createsArchive;
};

class StageUnderALongDirectory : public testing::TestWithParam<LongDirectory> {
protected:
    FreshLibraryState state;
    FixHelper helper;
};

// A path has room for 260 characters. "mendloft" takes 8 of them, "\driver.7z" another 10.
TEST_P(StageUnderALongDirectory, StaysWithinItsBuffers) {
    const std::wstring directory = L"C:\\" + std::wstring(GetParam().length - 4, L'd') + L"\\";
    const FakeApi<"GetTempPathW", decltype(::GetTempPathW)> temp(
        [&](DWORD, wchar_t* path) -> DWORD {
            std::wcscpy(path, directory.c_str());
            return static_cast<DWORD>(directory.size());
        });
    std::vector<std::wstring> folders, files;
    const FakeApi<"CreateDirectoryW", decltype(::CreateDirectoryW)> create(
        [&](const wchar_t* path, SECURITY_ATTRIBUTES*) {
            folders.emplace_back(path);
            return TRUE;
        });
    const FakeApi<"CreateFileW", decltype(::CreateFileW)> open(
        [&](const wchar_t* path, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
            files.emplace_back(path);
            return INVALID_HANDLE_VALUE;
        });

    EXPECT_FALSE(helper.StageDriverPackage());

    using Paths = std::vector<std::wstring>;
    EXPECT_EQ(GetParam().createsFolder ? Paths{directory + L"mendloft"} : Paths{}, folders);
    EXPECT_EQ(GetParam().createsArchive ? Paths{directory + L"mendloft\\driver.7z"} : Paths{},
              files);
}

INSTANTIATE_TEST_SUITE_P(, StageUnderALongDirectory,
                         testing::Values(LongDirectory{"BothFit", 242, true, true},
                                         LongDirectory{"ArchiveTooLong", 243, true, false},
                                         LongDirectory{"FolderJustFits", 252, true, false},
                                         LongDirectory{"FolderTooLong", 253, false, false},
                                         LongDirectory{"DirectoryFillsTheBuffer", 259, false,
                                                       false}),
                         [](const auto& row) { return row.param.name; });

TEST_F(StageDriverPackageTest, FailsWhenAFileHasTheNameOfTheStagingFolder) {
    WriteFileContent(temp.StagingFolder(), "a file");

    EXPECT_FALSE(helper.StageDriverPackage());

    EXPECT_EQ("a file", FileContent(temp.StagingFolder()));
    EXPECT_EQ(L"", helper.stagingDir);
}

TEST_F(StageDriverPackageTest, FailsWhenTheArchiveFileIsInUse) {
    WriteFileContent(temp.ArchiveFile());
    const HANDLE inUse = ::CreateFileW(temp.ArchiveFile().c_str(), GENERIC_READ, 0, nullptr,
                                       OPEN_EXISTING, 0, nullptr);

    EXPECT_FALSE(helper.StageDriverPackage());

    ::CloseHandle(inUse);
}

TEST_F(StageDriverPackageTest, FailsWithoutTheResource) {
    g_libraryModule = ::GetModuleHandleW(L"kernel32");

    EXPECT_FALSE(helper.StageDriverPackage());

    EXPECT_THAT(Tree(temp.StagingFolder()), Contains(L"driver.7z"));
    EXPECT_EQ(L"", helper.stagingDir);
}

TEST_F(StageDriverPackageTest, FailsWhenTheArchiveIsCutShort) {
    FakeApi<"WriteFile", decltype(::WriteFile)>* real = nullptr;
    FakeApi<"WriteFile", decltype(::WriteFile)> half(
        [&](HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* overlapped) {
            return real->Real(file, bytes, size > 1000 ? size / 2 : size, written, overlapped);
        });
    real = &half;

    EXPECT_FALSE(helper.StageDriverPackage());
}

TEST_F(StageDriverPackageTest, KeepsThePreviousStagingFolderWhenItFails) {
    helper.stagingDir = L"earlier";
    g_libraryModule = ::GetModuleHandleW(L"kernel32");

    EXPECT_FALSE(helper.StageDriverPackage());

    EXPECT_EQ(L"earlier", helper.stagingDir);
}

}  // namespace
