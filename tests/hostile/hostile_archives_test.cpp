// Well-formed archives with hostile items. The extraction uses the paths of items as they are, so
// these tests show what an archive from an untrusted source can do.

#include "archive/seven_zip_extractor.h"

#include <windows.h>

#include <gmock/gmock.h>

#include <filesystem>

#include "archive/mock_progress.h"
#include "hostile/seven_zip_file.h"
#include "support/child_process.h"
#include "support/temporary_folder.h"

namespace {

using testing::Contains;
using testing::NiceMock;
using testing::SizeIs;
using testing::StartsWith;

using FileTree = std::map<std::wstring, std::string>;

constexpr auto kFolder = "(a folder)";

class HostileArchive : public testing::Test {
protected:
    // Unpacks an archive of these items into the folder "above\out".
    std::int32_t Extract(const std::vector<MadeItem>& items,
                         SevenZip::ExtractProgress* progress = nullptr) {
        WriteFileContent(archive, SevenZipFile(items).Bytes());
        SevenZip::SevenZipExtractor extractor;
        (void)extractor.SetArchivePath(archive);
        return extractor.ExtractTo(folder / L"above\\out", progress);
    }

    FileTree Extracted() const { return TreeContent(folder / L"above\\out"); }

    const TemporaryFolder folder;
    const std::wstring archive = folder / L"hostile.7z";
};

std::int32_t Failure(unsigned long error) {
    return HRESULT_FROM_WIN32(error);
}

// ---- paths that lead out of the destination

TEST_F(HostileArchive, WritesAFileOutsideTheDestinationWhenItsPathLeadsThere) {
    EXPECT_EQ(0, Extract({{L"../stranger.txt", "here"}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"out", kFolder}, {L"out\\next.txt", "next"}, {L"stranger.txt", "here"}}),
              TreeContent(folder / L"above"));
}

TEST_F(HostileArchive, CreatesAFolderOutsideTheDestinationWhenItsPathLeadsThere) {
    EXPECT_EQ(0, Extract({{L"../stranger", "", true}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"out", kFolder}, {L"out\\next.txt", "next"}, {L"stranger", kFolder}}),
              TreeContent(folder / L"above"));
}

TEST_F(HostileArchive, ReplacesAFileOutsideTheDestination) {
    WriteFileContent(folder / L"above\\precious.txt", "precious");

    EXPECT_EQ(0, Extract({{L"../precious.txt", "replaced"}}));

    EXPECT_EQ("replaced", FileContent(folder / L"above\\precious.txt"));
}

TEST_F(HostileArchive, DeletesTheParentOfTheDestinationForAFileWithItsPath) {
    WriteFileContent(folder / L"above\\precious\\deep.txt", "precious");
    WriteFileContent(folder / L"beside.txt", "beside");

    EXPECT_EQ(Failure(ERROR_ACCESS_DENIED), Extract({{L"one.txt", "1"}, {L"..", "2"}}));

    // The destination is created again before the file fails to replace the folder above it.
    EXPECT_EQ((FileTree{{L"out", kFolder}}), TreeContent(folder / L"above"));
    EXPECT_EQ("beside", FileContent(folder / L"beside.txt"));
}

TEST_F(HostileArchive, DeletesTheContentsOfTheDestinationForAFileWithItsPath) {
    EXPECT_EQ(Failure(ERROR_ACCESS_DENIED), Extract({{L"one.txt", "1"}, {L".", "2"}}));

    EXPECT_EQ(FileTree{}, Extracted());
}

// Only "/" separates the parts of a path in a 7z archive. A backslash belongs to a name; Windows
// names cannot contain one, so 7-Zip replaces it.
TEST_F(HostileArchive, TreatsABackslashAsPartOfTheName) {
    EXPECT_EQ(0, Extract({{L"..\\stranger.txt", "here"}}));

    EXPECT_EQ((FileTree{{L"..\xF05Cstranger.txt", "here"}}), Extracted());
}

TEST_F(HostileArchive, WritesARootedPathBelowTheDestination) {
    EXPECT_EQ(0, Extract({{L"/rooted.txt", "here"}}));

    EXPECT_EQ((FileTree{{L"rooted.txt", "here"}}), Extracted());
}

// Windows refuses to create a folder "C:" below the destination; Wine creates it. Neither writes to
// the drive.
TEST_F(HostileArchive, DoesNotWriteToTheDriveThatAPathNames) {
    (void)Extract({{L"C:/stranger.txt", "here"}});
    const std::wstring below = folder / L"above\\out\\C:";
    (void)::DeleteFileW((below + L"\\stranger.txt").c_str());  // no other test should find it
    (void)::RemoveDirectoryW(below.c_str());

    EXPECT_FALSE(Exists(L"C:\\stranger.txt"));
    EXPECT_EQ(FileTree{}, Extracted());
}

// To Windows it is a stream of the file "one.txt"; to Wine a file of its own.
TEST_F(HostileArchive, WritesAnAlternateStreamBelowTheDestination) {
    EXPECT_EQ(0, Extract({{L"one.txt", "1"}, {L"one.txt:hidden", "2"}, {L"next.txt", "next"}}));
    const std::wstring stream = folder / L"above\\out\\one.txt:hidden";
    const std::string content = FileContent(stream);
    (void)::DeleteFileW(stream.c_str());

    EXPECT_EQ("2", content);
    EXPECT_EQ((FileTree{{L"next.txt", "next"}, {L"one.txt", "1"}}), Extracted());
}

// ---- names that Windows changes or refuses

TEST_F(HostileArchive, WritesNothingForTheNullDevice) {
    EXPECT_EQ(0, Extract({{L"NUL", "gone"}, {L"folder/nul.txt", "gone"}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"folder", kFolder}, {L"next.txt", "next"}}), Extracted());
}

TEST_F(HostileArchive, StopsAtAMissingDevice) {
    EXPECT_EQ(Failure(ERROR_FILE_NOT_FOUND), Extract({{L"COM9", "1"}, {L"next.txt", "next"}}));

    EXPECT_EQ(FileTree{}, Extracted());
}

TEST_F(HostileArchive, DropsDotsAndBlanksAtTheEndOfAName) {
    EXPECT_EQ(0, Extract({{L"dots...", "1"}, {L"blanks  ", "2"}}));

    EXPECT_EQ((FileTree{{L"blanks", "2"}, {L"dots", "1"}}), Extracted());
}

TEST_F(HostileArchive, StopsAtAWildcard) {
    EXPECT_EQ(Failure(ERROR_INVALID_NAME),
              Extract({{L"one.txt", "1"}, {L"*", "2"}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"one.txt", "1"}}), Extracted());
}

TEST_F(HostileArchive, StopsAtAControlCharacter) {
    EXPECT_EQ(Failure(ERROR_INVALID_NAME), Extract({{L"one\n.txt", "1"}, {L"next.txt", "next"}}));

    EXPECT_EQ(FileTree{}, Extracted());
}

// Windows accepts any 16-bit units in a name; Wine accepts only valid UTF-16.
TEST_F(HostileArchive, SurvivesAnUnpairedSurrogate) {
    const std::int32_t result = Extract({{L"half\xD800.txt", "1"}});

    EXPECT_THAT((std::vector<std::int32_t>{0, Failure(ERROR_FILE_NOT_FOUND)}), Contains(result));
}

TEST_F(HostileArchive, StopsAtANameThatIsTooLongForAnyFileSystem) {
    EXPECT_NE(0, Extract({{std::wstring(300, L'n'), "1"}, {L"next.txt", "next"}}));

    EXPECT_EQ(FileTree{}, Extracted());
}

// 7-Zip returns no path of 16,384 characters or more.
TEST_F(HostileArchive, TreatsAnItemWithAnOverlongPathAsUnnamed) {
    EXPECT_EQ(0, Extract({{std::wstring(60'000, L'/'), "1"}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"[Content]", "1"}, {L"next.txt", "next"}}), Extracted());
}

TEST_F(HostileArchive, WritesNoFileForAnEmptyName) {
    EXPECT_EQ(0, Extract({{L"", "1"}, {L"", "", true}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"next.txt", "next"}}), Extracted());
}

// ---- items that conflict

TEST_F(HostileArchive, KeepsTheLastOfSeveralFilesWithTheSameName) {
    EXPECT_EQ(0, Extract({{L"one.txt", "first"}, {L"ONE.TXT", "second"}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"ONE.TXT", "second"}, {L"next.txt", "next"}}), Extracted());
}

TEST_F(HostileArchive, ReplacesAFolderAndItsContentsWithAFile) {
    EXPECT_EQ(0, Extract({{L"usb/deep/one.txt", "1"}, {L"usb", "a file"}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"next.txt", "next"}, {L"usb", "a file"}}), Extracted());
}

TEST_F(HostileArchive, KeepsAFileWhereAFolderShouldBe) {
    EXPECT_EQ(0, Extract({{L"usb", "a file"}, {L"usb", "", true}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"next.txt", "next"}, {L"usb", "a file"}}), Extracted());
}

TEST_F(HostileArchive, StopsAtAFileBelowAFile) {
    EXPECT_EQ(Failure(ERROR_PATH_NOT_FOUND),
              Extract({{L"usb", "a file"}, {L"usb/one.txt", "1"}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"usb", "a file"}}), Extracted());
}

// ---- links

TEST_F(HostileArchive, WritesTheTargetOfAUnixLinkIntoAFile) {
    constexpr std::uint32_t unixLink = 0xA1FF8020;

    EXPECT_EQ(0, Extract({{L"link", "../target", false, unixLink}}));

    EXPECT_EQ((FileTree{{L"link", "../target"}}), Extracted());
    EXPECT_EQ(0u, ::GetFileAttributesW((folder / L"above\\out\\link").c_str()) &
                      FILE_ATTRIBUTE_REPARSE_POINT);
}

TEST_F(HostileArchive, CreatesNoReparsePointWhateverTheAttributesSay) {
    EXPECT_EQ(0, Extract({{L"file", "1", false, 0x20 | FILE_ATTRIBUTE_REPARSE_POINT},
                          {L"folder", "", true, 0x10 | FILE_ATTRIBUTE_REPARSE_POINT},
                          {L"folder/one.txt", "1"}}));

    EXPECT_EQ((FileTree{{L"file", "1"}, {L"folder", kFolder}, {L"folder\\one.txt", "1"}}),
              Extracted());
    EXPECT_EQ(0u, ::GetFileAttributesW((folder / L"above\\out\\file").c_str()) &
                      FILE_ATTRIBUTE_REPARSE_POINT);
}

// ---- files in use

TEST_F(HostileArchive, CannotReplaceItself) {
    EXPECT_EQ(Failure(ERROR_SHARING_VIOLATION),
              Extract({{L"../../hostile.7z", "1"}, {L"next.txt", "next"}}));

    EXPECT_THAT(FileContent(archive), StartsWith("7z\xBC\xAF\x27\x1C"));
}

TEST_F(HostileArchive, CannotReplaceARunningProgram) {
    const std::wstring program = folder / L"above\\program.exe";
    std::filesystem::create_directory(folder / L"above");
    std::filesystem::copy_file(ProgramFolder() + L"\\sleeper.exe", program);
    const std::string content = FileContent(program);
    const ChildProcess running(L"\"" + program + L"\"");

    EXPECT_EQ(Failure(ERROR_ACCESS_DENIED), Extract({{L"../program.exe", "1"}}));

    EXPECT_TRUE(running.IsRunning());
    EXPECT_EQ(content, FileContent(program));
}

// ---- numbers

// Accepts only the file "last.txt". These two are called for every item and so are not mocked.
class OnlyTheLastFile : public NiceMock<MockProgress> {
public:
    bool ShouldExtract(const std::wstring&, const std::wstring& relativePath, bool) override {
        return relativePath == L"last.txt";
    }
    void OnArchiveDone(const std::wstring&) override {}
};

TEST_F(HostileArchive, ListsSixtyFiveThousandItemsAndExtractsTheLast) {
    std::vector<MadeItem> items(64'999, MadeItem{L"item", "x"});
    items.push_back({L"last.txt", "last"});
    OnlyTheLastFile progress;
    EXPECT_CALL(progress, OnItemCount(65'000));
    EXPECT_CALL(progress, OnItemList(SizeIs(65'000), SizeIs(65'000)));

    EXPECT_EQ(0, Extract(items, &progress));

    EXPECT_EQ((FileTree{{L"last.txt", "last"}}), Extracted());
}

}  // namespace
