// Archives that are correct and mean harm. The extraction uses the paths of items as they are, so
// that these tests tell what an archive can do that nobody has looked over.

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

// ---- paths that lead elsewhere

TEST_F(HostileArchive, WritesAFileOutsideOfTheDestinationWhenItsPathSaysSo) {
    EXPECT_EQ(0, Extract({{L"../stranger.txt", "here"}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"out", kFolder}, {L"out\\next.txt", "next"}, {L"stranger.txt", "here"}}),
              TreeContent(folder / L"above"));
}

TEST_F(HostileArchive, MakesAFolderOutsideOfTheDestinationWhenItsPathSaysSo) {
    EXPECT_EQ(0, Extract({{L"../stranger", "", true}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"out", kFolder}, {L"out\\next.txt", "next"}, {L"stranger", kFolder}}),
              TreeContent(folder / L"above"));
}

TEST_F(HostileArchive, ReplacesAFileOutsideOfTheDestination) {
    WriteFileContent(folder / L"above\\precious.txt", "precious");

    EXPECT_EQ(0, Extract({{L"../precious.txt", "replaced"}}));

    EXPECT_EQ("replaced", FileContent(folder / L"above\\precious.txt"));
}

TEST_F(HostileArchive, DeletesTheFolderAboveTheDestinationForAFileOfThatPath) {
    WriteFileContent(folder / L"above\\precious\\deep.txt", "precious");
    WriteFileContent(folder / L"beside.txt", "beside");

    EXPECT_EQ(Failure(ERROR_ACCESS_DENIED), Extract({{L"one.txt", "1"}, {L"..", "2"}}));

    // The destination is made once more, before it turns out that no file can be written over the
    // folder that it is in.
    EXPECT_EQ((FileTree{{L"out", kFolder}}), TreeContent(folder / L"above"));
    EXPECT_EQ("beside", FileContent(folder / L"beside.txt"));
}

TEST_F(HostileArchive, DeletesWhatIsInTheDestinationForAFileOfItsPath) {
    EXPECT_EQ(Failure(ERROR_ACCESS_DENIED), Extract({{L"one.txt", "1"}, {L".", "2"}}));

    EXPECT_EQ(FileTree{}, Extracted());
}

// 7-Zip knows only "/" between the parts of a path in a 7z archive, and a backslash as a part of a
// name, which Windows cannot have.
TEST_F(HostileArchive, TakesABackslashForALetterOfTheName) {
    EXPECT_EQ(0, Extract({{L"..\\stranger.txt", "here"}}));

    EXPECT_EQ((FileTree{{L"..\xF05Cstranger.txt", "here"}}), Extracted());
}

TEST_F(HostileArchive, PutsARootedPathBelowTheDestination) {
    EXPECT_EQ(0, Extract({{L"/rooted.txt", "here"}}));

    EXPECT_EQ((FileTree{{L"rooted.txt", "here"}}), Extracted());
}

// Windows refuses such a folder; Wine makes it. Either way it is none of a drive.
TEST_F(HostileArchive, DoesNotGoToTheDriveThatAPathNames) {
    (void)Extract({{L"C:/stranger.txt", "here"}});
    const std::wstring below = folder / L"above\\out\\C:";
    (void)::DeleteFileW((below + L"\\stranger.txt").c_str());  // nobody else should meet this name
    (void)::RemoveDirectoryW(below.c_str());

    EXPECT_FALSE(Exists(L"C:\\stranger.txt"));
    EXPECT_EQ(FileTree{}, Extracted());
}

// To Windows it is a stream of the file "one.txt"; to Wine a file of its own.
TEST_F(HostileArchive, KeepsAnAlternateStreamBelowTheDestination) {
    EXPECT_EQ(0, Extract({{L"one.txt", "1"}, {L"one.txt:hidden", "2"}, {L"next.txt", "next"}}));
    const std::wstring stream = folder / L"above\\out\\one.txt:hidden";
    const std::string content = FileContent(stream);
    (void)::DeleteFileW(stream.c_str());

    EXPECT_EQ("2", content);
    EXPECT_EQ((FileTree{{L"next.txt", "next"}, {L"one.txt", "1"}}), Extracted());
}

// ---- names that Windows does not take as they are

TEST_F(HostileArchive, WritesNothingForTheNullDevice) {
    EXPECT_EQ(0, Extract({{L"NUL", "gone"}, {L"folder/nul.txt", "gone"}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"folder", kFolder}, {L"next.txt", "next"}}), Extracted());
}

TEST_F(HostileArchive, StopsAtADeviceThatIsNotThere) {
    EXPECT_EQ(Failure(ERROR_FILE_NOT_FOUND), Extract({{L"COM9", "1"}, {L"next.txt", "next"}}));

    EXPECT_EQ(FileTree{}, Extracted());
}

TEST_F(HostileArchive, LosesDotsAndBlanksAtTheEndOfAName) {
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

// Windows takes any 16-bit units; Wine's file system takes only what is UTF-16.
TEST_F(HostileArchive, SurvivesHalfASurrogatePair) {
    const std::int32_t result = Extract({{L"half\xD800.txt", "1"}});

    EXPECT_THAT((std::vector<std::int32_t>{0, Failure(ERROR_FILE_NOT_FOUND)}), Contains(result));
}

TEST_F(HostileArchive, StopsAtANameLongerThanAnyFileSystemTakes) {
    EXPECT_NE(0, Extract({{std::wstring(300, L'n'), "1"}, {L"next.txt", "next"}}));

    EXPECT_EQ(FileTree{}, Extracted());
}

// 7-Zip passes on no path of 16,384 characters or more.
TEST_F(HostileArchive, TakesAnItemWithAnEndlessPathForOneWithoutName) {
    EXPECT_EQ(0, Extract({{std::wstring(60'000, L'/'), "1"}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"[Content]", "1"}, {L"next.txt", "next"}}), Extracted());
}

TEST_F(HostileArchive, WritesNoFileForAnEmptyName) {
    EXPECT_EQ(0, Extract({{L"", "1"}, {L"", "", true}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"next.txt", "next"}}), Extracted());
}

// ---- items in each other's way

TEST_F(HostileArchive, KeepsTheLastOfFilesOfTheSameName) {
    EXPECT_EQ(0, Extract({{L"one.txt", "first"}, {L"ONE.TXT", "second"}, {L"next.txt", "next"}}));

    EXPECT_EQ((FileTree{{L"ONE.TXT", "second"}, {L"next.txt", "next"}}), Extracted());
}

TEST_F(HostileArchive, ReplacesAFolderWithAllThatIsInItByAFile) {
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

TEST_F(HostileArchive, MakesNoReparsePointWhateverTheAttributesSay) {
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

// Wants nothing but the file "last.txt". These two are called for every item, so no mock counts
// them.
class OnlyTheLast : public NiceMock<MockProgress> {
public:
    bool ShouldExtract(const std::wstring&, const std::wstring& relativePath, bool) override {
        return relativePath == L"last.txt";
    }
    void OnArchiveDone(const std::wstring&) override {}
};

TEST_F(HostileArchive, TellsOfSixtyFiveThousandItemsAndExtractsTheLast) {
    std::vector<MadeItem> items(64'999, MadeItem{L"item", "x"});
    items.push_back({L"last.txt", "last"});
    OnlyTheLast progress;
    EXPECT_CALL(progress, OnItemCount(65'000));
    EXPECT_CALL(progress, OnItemList(SizeIs(65'000), SizeIs(65'000)));

    EXPECT_EQ(0, Extract(items, &progress));

    EXPECT_EQ((FileTree{{L"last.txt", "last"}}), Extracted());
}

}  // namespace
