#include <gmock/gmock.h>

#include "exports/expected_store.h"
#include "support/captured_output.h"
#include "support/loaded_library.h"
#include "support/repair_setting.h"

namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;
using Names = std::vector<std::wstring>;

// Calls the export on the Windows version and bitness of the prefix.
class MendloftFolder : public testing::Test {
protected:
    std::int32_t Call(std::int32_t repair) { return library.Call("MendloftFolder", repair); }

    [[nodiscard]] static Names UsbFiles() {
        if (PrefixIs64Bit()) {
            return {L"USBAAPL64.CAT", L"usbaapl64.inf", L"usbaapl64.sys", L"usbaaplrc.dll"};
        }
        return {L"USBAAPL.CAT", L"usbaapl.PNF", L"usbaapl.inf", L"usbaapl.sys", L"usbaaplrc.dll"};
    }
    [[nodiscard]] static Names NetFiles() {
        if (PrefixIs64Bit()) {
            return {L"WdfCoInstaller01009.dll", L"netaapl64.cat", L"netaapl64.inf",
                    L"netaapl64.sys"};
        }
        return {L"WdfCoInstaller01009.dll", L"netaapl.cat", L"netaapl.inf", L"netaapl.sys"};
    }

    PrivateTemporaryDirectory temp;
    EmptyDriverStore store;
    ExpectedStore expected = StoreOfThisPrefix();
    LoadedLibrary library;
    CapturedDebugOutput output{library.Module()};
};

class MendloftFolderOnWindowsXp : public MendloftFolder {
    void SetUp() override {
        if (!PrefixIsTooOld()) GTEST_SKIP() << "this prefix has a newer Windows";
    }
};

class MendloftFolderFromVistaOn : public MendloftFolder {
    void SetUp() override {
        if (PrefixIsTooOld()) GTEST_SKIP() << "this prefix has Windows XP";
    }
};

TEST_F(MendloftFolderOnWindowsXp, Returns2AndDoesNothing) {
    EXPECT_EQ(2, Call(1));
    EXPECT_EQ(2, Call(0));

    EXPECT_THAT(Tree(temp.folder.Path()), IsEmpty());
    EXPECT_THAT(store.Content(), IsEmpty());
    EXPECT_THAT(output.messages, IsEmpty());
}

TEST_F(MendloftFolderFromVistaOn, RebuildsExactlyTheFoldersOfThisSystem) {
    EXPECT_EQ(4, Call(1));

    Names folders = expected.usb;
    folders.push_back(expected.net);
    Names found;
    for (const auto& entry : std::filesystem::directory_iterator(EmptyDriverStore::kRoot)) {
        found.push_back(entry.path().filename().wstring());
    }
    EXPECT_THAT(found, UnorderedElementsAreArray(folders));
}

TEST_F(MendloftFolderFromVistaOn, FillsTheUsbFoldersAndLeavesTheNetworkFolderEmpty) {
    EXPECT_EQ(4, Call(1));

    for (const std::wstring& usb : expected.usb) {
        EXPECT_THAT(Tree(store.Folder(usb)), ElementsAreArray(UsbFiles()));
    }
    EXPECT_THAT(Tree(store.Folder(expected.net)), IsEmpty());
}

TEST_F(MendloftFolderFromVistaOn, CopiesTheStagedFilesByteForByte) {
    EXPECT_EQ(4, Call(1));

    const std::wstring staged = PrefixIs64Bit() ? L"\\usb\\x64" : L"\\usb\\x86";
    EXPECT_EQ(TreeContent(temp.StagingFolder() + staged),
              TreeContent(store.Folder(expected.usb.front())));
}

TEST_F(MendloftFolderFromVistaOn, WritesOneLinePerFileForTheFirstUsbFolderAndTheNetworkFolder) {
    EXPECT_EQ(4, Call(1));

    Names lines;
    for (const std::wstring& file : UsbFiles()) {
        lines.push_back(L"CopyDrivers usbapp :" + store.Folder(expected.usb.front()) + L"\\" +
                        file + L"\n");
    }
    for (const std::wstring& file : NetFiles()) {
        lines.push_back(L"CopyDrivers usbapp :" + store.Folder(expected.net) + L"\\" + file +
                        L"\n");
    }
    EXPECT_THAT(output.messages, UnorderedElementsAreArray(lines));
}

TEST_F(MendloftFolderFromVistaOn, LeavesTheDriverArchiveInTheStagingFolder) {
    EXPECT_EQ(4, Call(1));

    const HRSRC resource = ::FindResourceW(library.Module(), MAKEINTRESOURCEW(102), L"DRIVER");
    const HGLOBAL loaded = ::LoadResource(library.Module(), resource);
    const std::string archive(static_cast<const char*>(::LockResource(loaded)),
                              ::SizeofResource(library.Module(), resource));
    EXPECT_TRUE(archive == FileContent(temp.ArchiveFile()));
}

TEST_F(MendloftFolderFromVistaOn, RemovesTheFoldersOfThisSystem) {
    for (const std::wstring& usb : expected.usb) {
        WriteFileContent(store.Folder(usb) + L"\\sub\\file");
    }
    WriteFileContent(store.Folder(expected.net) + L"\\file");

    EXPECT_EQ(0, Call(0));

    EXPECT_THAT(store.Content(), IsEmpty());
    EXPECT_THAT(output.messages, IsEmpty());
}

TEST_F(MendloftFolderFromVistaOn, TreatsAnArgumentWithLowByteZeroAsFalse) {
    WriteFileContent(store.Folder(expected.net) + L"\\file");

    EXPECT_EQ(0, Call(0x100));

    EXPECT_THAT(store.Content(), IsEmpty());
}

TEST_F(MendloftFolderFromVistaOn, TreatsAnyOtherLowByteAsTrue) {
    EXPECT_EQ(4, Call(0x80));
}

TEST_F(MendloftFolderFromVistaOn, RemovesWhatItRebuiltUnlessAFileIsReadOnly) {
    ASSERT_EQ(4, Call(1));
    const PrivateTemporaryDirectory another;

    EXPECT_EQ(PrefixIs64Bit() ? 0 : 1, Call(0));
}

TEST_F(MendloftFolderFromVistaOn, Returns1WhenTheArchiveCannotBeStaged) {
    WriteFileContent(temp.StagingFolder(), "a file in the way");

    EXPECT_EQ(1, Call(1));
    EXPECT_EQ(1, Call(0));

    EXPECT_THAT(store.Content(), IsEmpty());
}

}  // namespace
