#include <gmock/gmock.h>

#include <cwchar>
#include <string_view>

#include "core/fix_helper.h"
#include "support/captured_output.h"
#include "support/fake_os.h"
#include "support/repair_setting.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// A staged tree and driver-store folders in a temporary folder. 64-bit Windows unless a test says
// otherwise.
class CopyDriversTest : public testing::Test {
protected:
    CopyDriversTest() {
        os.Is64Bit(true);
        helper.stagingDir = folder / L"staged";
        helper.usbStorePath = MakeFolder(L"usb store");
        helper.netStorePath = MakeFolder(L"net store");
    }

    std::wstring MakeFolder(std::wstring_view name) {
        std::filesystem::create_directories(folder / name);
        return folder / name;
    }

    void Stage(std::wstring_view name, std::string_view bytes = "x") {
        WriteFileContent(helper.stagingDir + L"\\" + std::wstring(name), bytes);
    }

    std::wstring InUsbStore(std::wstring_view name) {
        return helper.usbStorePath + L"\\" + std::wstring(name);
    }

    FreshLibraryState state;
    FakeOs os;
    TemporaryFolder folder;
    FixHelper helper;
    CapturedDebugOutput output;
};

TEST_F(CopyDriversTest, CopiesEveryUsbFileIntoTheUsbFolder) {
    Stage(L"usb\\x64\\usbaapl64.inf", "the inf");
    Stage(L"usb\\x64\\usbaapl64.sys", "the sys");
    Stage(L"usb\\x64\\no extension", "");

    EXPECT_TRUE(helper.CopyDrivers());

    EXPECT_THAT(Tree(helper.usbStorePath),
                ElementsAre(L"no extension", L"usbaapl64.inf", L"usbaapl64.sys"));
    EXPECT_EQ("the inf", FileContent(InUsbStore(L"usbaapl64.inf")));
    EXPECT_EQ("the sys", FileContent(InUsbStore(L"usbaapl64.sys")));
}

TEST_F(CopyDriversTest, CopiesThe32BitFilesOn32BitWindows) {
    os.Is64Bit(false);
    Stage(L"usb\\x64\\usbaapl64.inf");
    Stage(L"usb\\x86\\usbaapl.inf");

    EXPECT_TRUE(helper.CopyDrivers());

    EXPECT_THAT(Tree(helper.usbStorePath), ElementsAre(L"usbaapl.inf"));
}

TEST_F(CopyDriversTest, AlsoFillsASecondUsbFolder) {
    helper.usbStorePath2 = MakeFolder(L"usb store 2");
    Stage(L"usb\\x64\\usbaapl64.inf", "the inf");

    EXPECT_TRUE(helper.CopyDrivers());

    EXPECT_EQ("the inf", FileContent(helper.usbStorePath2 + L"\\usbaapl64.inf"));
    EXPECT_EQ("the inf", FileContent(InUsbStore(L"usbaapl64.inf")));
}

TEST_F(CopyDriversTest, WritesOneLinePerUsbFileEvenWithASecondFolder) {
    helper.usbStorePath2 = MakeFolder(L"usb store 2");
    Stage(L"usb\\x64\\a.inf");
    Stage(L"usb\\x64\\b.sys");

    helper.CopyDrivers();

    EXPECT_THAT(output.messages,
                UnorderedElementsAre(L"CopyDrivers usbapp :" + InUsbStore(L"a.inf") + L"\n",
                                     L"CopyDrivers usbapp :" + InUsbStore(L"b.sys") + L"\n"));
}

TEST_F(CopyDriversTest, OverwritesExistingFiles) {
    Stage(L"usb\\x64\\a.inf", "new");
    WriteFileContent(InUsbStore(L"a.inf"), "old and longer");

    EXPECT_TRUE(helper.CopyDrivers());

    EXPECT_EQ("new", FileContent(InUsbStore(L"a.inf")));
}

TEST_F(CopyDriversTest, CopiesAReadOnlyFileLikeAnyOther) {
    os.Is64Bit(false);
    Stage(L"usb\\x86\\usbaapl.PNF", "compiled");
    ::SetFileAttributesW((helper.stagingDir + L"\\usb\\x86\\usbaapl.PNF").c_str(),
                         FILE_ATTRIBUTE_READONLY);

    EXPECT_TRUE(helper.CopyDrivers());

    EXPECT_EQ("compiled", FileContent(InUsbStore(L"usbaapl.PNF")));
    EXPECT_NE(0u,
              ::GetFileAttributesW(InUsbStore(L"usbaapl.PNF").c_str()) & FILE_ATTRIBUTE_READONLY);
}

TEST_F(CopyDriversTest, ReturnsTrueAndContinuesWhenACopyFails) {
    Stage(L"usb\\x64\\a.inf");
    Stage(L"usb\\x64\\b.inf");
    std::filesystem::create_directory(InUsbStore(L"a.inf"));  // a folder in the way

    EXPECT_TRUE(helper.CopyDrivers());

    EXPECT_TRUE(std::filesystem::is_regular_file(InUsbStore(L"b.inf")));
    EXPECT_EQ(2u, output.messages.size());
}

TEST_F(CopyDriversTest, ReturnsTrueAndWritesItsLinesWhenTheUsbFolderIsMissing) {
    helper.usbStorePath = folder / L"missing";
    Stage(L"usb\\x64\\a.inf");

    EXPECT_TRUE(helper.CopyDrivers());

    EXPECT_THAT(output.messages,
                ElementsAre(L"CopyDrivers usbapp :" + folder.Path() + L"\\missing\\a.inf\n"));
}

TEST_F(CopyDriversTest, SkipsFolders) {
    Stage(L"usb\\x64\\sub\\below.inf");
    Stage(L"usb\\x64\\a.inf");

    EXPECT_TRUE(helper.CopyDrivers());

    EXPECT_THAT(Tree(helper.usbStorePath), ElementsAre(L"a.inf"));
    EXPECT_EQ(1u, output.messages.size());
}

TEST_F(CopyDriversTest, NamesNetworkDestinationsAlthoughNothingIsCopiedThere) {
    Stage(L"usb\\x64\\usbaapl64.inf");
    Stage(L"net\\x64\\netaapl64.inf");
    Stage(L"net\\x64\\sub\\below.inf");

    EXPECT_TRUE(helper.CopyDrivers());

    EXPECT_THAT(Tree(helper.netStorePath), IsEmpty());
    EXPECT_THAT(output.messages,
                ElementsAre(L"CopyDrivers usbapp :" + InUsbStore(L"usbaapl64.inf") + L"\n",
                            L"CopyDrivers usbapp :" + helper.netStorePath + L"\\netaapl64.inf\n"));
}

TEST_F(CopyDriversTest, JoinsFolderAndNameOfANetworkSourceWithoutASeparator) {
    Stage(L"usb\\x64\\usbaapl64.inf");
    Stage(L"net\\x64\\netaapl64.inf");
    WriteFileContent(helper.stagingDir + L"\\net\\x64netaapl64.inf", "beside the folder");

    EXPECT_TRUE(helper.CopyDrivers());

    EXPECT_EQ("beside the folder", FileContent(helper.netStorePath + L"\\netaapl64.inf"));
}

TEST_F(CopyDriversTest, CopiesFromAndToExactlyThesePathsAndOverwrites) {
    helper.usbStorePath2 = MakeFolder(L"usb store 2");
    Stage(L"usb\\x64\\u.inf");
    Stage(L"net\\x64\\n.inf");
    std::vector<std::pair<std::wstring, std::wstring>> copies;
    const FakeApi<"CopyFileW", decltype(::CopyFileW)> copy(
        [&](const wchar_t* from, const wchar_t* to, BOOL failIfExists) {
            EXPECT_EQ(FALSE, failIfExists);
            copies.emplace_back(from, to);
            return FALSE;
        });

    EXPECT_TRUE(helper.CopyDrivers());

    const std::wstring staged = helper.stagingDir;
    EXPECT_THAT(
        copies,
        ElementsAre(std::pair(staged + L"\\usb\\x64\\u.inf", helper.usbStorePath + L"\\u.inf"),
                    std::pair(staged + L"\\usb\\x64\\u.inf", helper.usbStorePath2 + L"\\u.inf"),
                    std::pair(staged + L"\\net\\x64n.inf", helper.netStorePath + L"\\n.inf")));
}

TEST_F(CopyDriversTest, WritesTheLineOfAFileAfterItsFirstCopyAndBeforeItsSecond) {
    helper.usbStorePath2 = MakeFolder(L"usb store 2");
    Stage(L"usb\\x64\\u.inf");
    Stage(L"net\\x64\\n.inf");
    std::vector<std::pair<std::wstring, std::size_t>> linesBefore;
    const FakeApi<"CopyFileW", decltype(::CopyFileW)> copy(
        [&](const wchar_t*, const wchar_t* to, BOOL) {
            linesBefore.emplace_back(to, output.messages.size());
            return TRUE;
        });

    EXPECT_TRUE(helper.CopyDrivers());

    EXPECT_THAT(linesBefore, ElementsAre(std::pair(helper.usbStorePath + L"\\u.inf", 0u),
                                         std::pair(helper.usbStorePath2 + L"\\u.inf", 1u),
                                         std::pair(helper.netStorePath + L"\\n.inf", 1u)));
    EXPECT_EQ(2u, output.messages.size());
}

TEST_F(CopyDriversTest, ReturnsTrueWithoutAStagedNetworkFolder) {
    Stage(L"usb\\x64\\a.inf");

    EXPECT_TRUE(helper.CopyDrivers());

    EXPECT_THAT(Tree(helper.usbStorePath), ElementsAre(L"a.inf"));
}

TEST_F(CopyDriversTest, ReturnsFalseWithoutAStagedUsbFolderAndSkipsTheNetworkFolder) {
    Stage(L"net\\x64\\netaapl64.inf");

    EXPECT_FALSE(helper.CopyDrivers());

    EXPECT_THAT(output.messages, IsEmpty());
}

TEST_F(CopyDriversTest, ReturnsFalseWithoutAStagingFolderButRemembersTheInfPaths) {
    EXPECT_FALSE(helper.CopyDrivers());

    EXPECT_EQ(helper.stagingDir + L"\\usb\\x64\\usbaapl64.inf", StagedUsbInfPath);
    EXPECT_EQ(helper.stagingDir + L"\\net\\x64\\netaapl64.inf", StagedNetInfPath);
    EXPECT_THAT(output.messages, IsEmpty());
}

TEST_F(CopyDriversTest, RemembersThe32BitInfPathsOn32BitWindows) {
    os.Is64Bit(false);

    helper.CopyDrivers();

    EXPECT_EQ(helper.stagingDir + L"\\usb\\x86\\usbaapl.inf", StagedUsbInfPath);
    EXPECT_EQ(helper.stagingDir + L"\\net\\x86\\netaapl.inf", StagedNetInfPath);
}

TEST_F(CopyDriversTest, ReplacesRememberedInfPaths) {
    StagedUsbInfPath = L"old";
    StagedNetInfPath = L"old";

    helper.CopyDrivers();

    EXPECT_EQ(helper.stagingDir + L"\\usb\\x64\\usbaapl64.inf", StagedUsbInfPath);
    EXPECT_EQ(helper.stagingDir + L"\\net\\x64\\netaapl64.inf", StagedNetInfPath);
}

// Windows lists "." and ".." as folders. A file system on a network server need not.
TEST_F(CopyDriversTest, SkipsTheDotEntriesEvenWhenTheyAreListedAsFiles) {
    Stage(L"usb\\x64\\a.inf");
    const FakeApi<"FindFirstFileW", decltype(::FindFirstFileW)> first(
        [](const wchar_t*, WIN32_FIND_DATAW* entry) {
            *entry = {};
            std::wcscpy(entry->cFileName, L".");
            return reinterpret_cast<HANDLE>(1);
        });
    const FakeApi<"FindNextFileW", decltype(::FindNextFileW)> next(
        [](HANDLE, WIN32_FIND_DATAW* entry) {
            const std::wstring_view previous = entry->cFileName;
            if (previous == L"a.inf") return FALSE;
            std::wcscpy(entry->cFileName, previous == L"." ? L".." : L"a.inf");
            return TRUE;
        });
    const FakeApi<"FindClose", decltype(::FindClose)> close([](HANDLE) { return TRUE; });

    helper.CopyDrivers();

    EXPECT_THAT(output.messages,
                ElementsAre(L"CopyDrivers usbapp :" + helper.usbStorePath + L"\\a.inf\n",
                            L"CopyDrivers usbapp :" + helper.netStorePath + L"\\a.inf\n"));
}

TEST_F(CopyDriversTest, ClosesBothListings) {
    Stage(L"usb\\x64\\a.inf");
    Stage(L"net\\x64\\a.inf");
    int open = 0;
    FakeApi<"FindFirstFileW", decltype(::FindFirstFileW)>* realFirst = nullptr;
    FakeApi<"FindFirstFileW", decltype(::FindFirstFileW)> first(
        [&](const wchar_t* name, WIN32_FIND_DATAW* entry) {
            ++open;
            return realFirst->Real(name, entry);
        });
    realFirst = &first;
    FakeApi<"FindClose", decltype(::FindClose)>* realClose = nullptr;
    FakeApi<"FindClose", decltype(::FindClose)> close([&](HANDLE search) {
        --open;
        return realClose->Real(search);
    });
    realClose = &close;

    helper.CopyDrivers();

    EXPECT_EQ(0, open);
}

}  // namespace
