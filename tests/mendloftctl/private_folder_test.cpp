#include "mendloftctl/private_folder.h"

#include <windows.h>
#include <sddl.h>

#include <gtest/gtest.h>

#include "platform/unique_handle.h"
#include "support/fake_api.h"
#include "support/temporary_folder.h"

namespace {

using ctl::PrivateFolder;

TEST(PrivateFolder, ExistsAndIsEmpty) {
    const PrivateFolder folder;

    EXPECT_TRUE(Exists(folder.Path()));
    EXPECT_TRUE(Tree(folder.Path()).empty());
}

TEST(PrivateFolder, HasARandomNameInTheTemporaryFolderOfWindows) {
    const PrivateFolder folder;

    const std::wstring start = ctl::PrivateFolderParent() + L"\\mendloft-";
    ASSERT_EQ(0U, folder.Path().find(start));
    const std::wstring random = folder.Path().substr(start.size());
    EXPECT_EQ(32U, random.size());
    EXPECT_EQ(std::wstring::npos, random.find_first_not_of(L"0123456789abcdef"));
}

TEST(PrivateFolder, NeverHasTheSameNameTwice) {
    EXPECT_NE(PrivateFolder().Path(), PrivateFolder().Path());
}

TEST(PrivateFolder, IsCreatedForAdministratorsAndTheSystemOnly) {
    std::wstring access;
    const FakeApi<"CreateDirectoryW", decltype(::CreateDirectoryW)> create(
        [&](const wchar_t*, SECURITY_ATTRIBUTES* attributes) {
            UniqueLocal<wchar_t> text;
            ::ConvertSecurityDescriptorToStringSecurityDescriptorW(
                attributes->lpSecurityDescriptor, SDDL_REVISION_1,
                OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, text.Receive(), nullptr);
            access = text.Get();
            return FALSE;
        });

    const PrivateFolder folder;

    EXPECT_EQ(L"O:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)", access);
}

TEST(PrivateFolder, HasNoPathWhenItCannotBeCreated) {
    const FakeApi<"CreateDirectoryW", decltype(::CreateDirectoryW)> refuse(
        [](const wchar_t*, SECURITY_ATTRIBUTES*) {
            ::SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        });

    const PrivateFolder folder;

    EXPECT_EQ(ERROR_ACCESS_DENIED, ::GetLastError());
    EXPECT_EQ(L"", folder.Path());
}

TEST(PrivateFolder, HasNoPathWithoutARandomName) {
    const FakeApi<"SystemFunction036", BOOLEAN WINAPI(void*, ULONG)> refuse(
        [](void*, ULONG) { return BOOLEAN{FALSE}; });

    EXPECT_EQ(L"", PrivateFolder().Path());
}

TEST(PrivateFolder, IsRemovedWithItsContents) {
    std::wstring path;
    {
        const PrivateFolder folder;
        path = folder.Path();
        WriteFileContent(path + L"\\a\\b\\read-only");
        ::SetFileAttributesW((path + L"\\a\\b\\read-only").c_str(), FILE_ATTRIBUTE_READONLY);
        WriteFileContent(path + L"\\c");
    }

    EXPECT_FALSE(Exists(path));
}

TEST(PrivateFolder, ReportsThatSomethingIsLeft) {
    PrivateFolder folder;
    WriteFileContent(folder.Path() + L"\\a");
    const FakeApi<"Sleep", decltype(::Sleep)> noSleep([](DWORD) {});
    bool removed = true;
    {
        const FakeApi<"DeleteFileW", decltype(::DeleteFileW)> refuse(
            [](const wchar_t*) { return FALSE; });
        removed = folder.Remove();
    }

    EXPECT_FALSE(removed);
    EXPECT_TRUE(Exists(folder.Path() + L"\\a"));
}

TEST(PrivateFolder, RetriesWhileAFileIsInUse) {
    PrivateFolder folder;
    WriteFileContent(folder.Path() + L"\\a");
    int tries = 0;
    const FakeApi<"Sleep", decltype(::Sleep)> noSleep([](DWORD) {});
    FakeApi<"DeleteFileW", decltype(::DeleteFileW)>* fake = nullptr;
    FakeApi<"DeleteFileW", decltype(::DeleteFileW)> inUseTwice(
        [&](const wchar_t* path) { return ++tries <= 2 ? FALSE : fake->Real(path); });
    fake = &inUseTwice;

    EXPECT_TRUE(folder.Remove());

    EXPECT_EQ(3, tries);
}

}  // namespace
