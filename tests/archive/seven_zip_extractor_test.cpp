#include "archive/seven_zip_extractor.h"

#include <windows.h>
#include <comdef.h>
#include <shellapi.h>
#include <shlobj.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "archive/fake_archive.h"
#include "archive/handler_patch.h"
#include "archive/mock_progress.h"
#include "archive/test_archives.h"
#include "support/failing_allocations.h"
#include "support/fake_api.h"
#include "support/temporary_folder.h"

namespace {

using namespace SevenZip;
using testing::_;
using testing::AtLeast;
using testing::ElementsAre;
using testing::NiceMock;
using testing::Return;
using testing::SizeIs;
using testing::StrictMock;

using Tree = std::map<std::wstring, std::string>;

// The extractor with its protected members made public.
class OpenState : public SevenZip::SevenZipExtractor {
public:
    using SevenZipExtractor::archivePath;
    using SevenZipExtractor::format;
    using SevenZipExtractor::formatForced;
    using SevenZipExtractor::itemSizes;
    using SevenZipExtractor::lastMessage;
    using SevenZipExtractor::overwriteMode;
};

class SevenZipExtractor : public testing::Test {
protected:
    std::int32_t Extract(const std::string& archive, ExtractProgress* progress = nullptr) {
        (void)extractor.SetArchivePath(TestArchive(archive));
        return extractor.ExtractTo(destination.Path(), progress);
    }

    Tree Extracted() const { return TreeContent(destination.Path()); }

    OpenState extractor;
    const TemporaryFolder destination;
};

std::int32_t Result(unsigned long number) {
    return static_cast<std::int32_t>(number);
}

TEST_F(SevenZipExtractor, ReplacesExistingFilesByDefault) {
    EXPECT_EQ(1u, static_cast<unsigned>(extractor.overwriteMode));
    EXPECT_EQ(L"", extractor.lastMessage);
}

TEST_F(SevenZipExtractor, LaysOutItsOwnStateAfterThatOfTheArchive) {
    const std::vector<const void*> places{&extractor.itemSizes, &extractor.overwriteMode,
                                          &extractor.lastMessage};

    EXPECT_TRUE(std::ranges::is_sorted(places));
}

// ---- extracted files

class SevenZipExtractorOn : public SevenZipExtractor,
                            public testing::WithParamInterface<const char*> {};

TEST_P(SevenZipExtractorOn, WritesTheWholeTree) {
    EXPECT_EQ(0, Extract(GetParam()));

    EXPECT_EQ(TreeContent(TestArchive("tree")), Extracted());
}

INSTANTIATE_TEST_SUITE_P(, SevenZipExtractorOn,
                         testing::Values("drivers.7z", "lzma.7z", "copy.7z", "delta.7z", "bcj2.7z",
                                         "deflate.7z", "deflate64.7z", "separate.7z",
                                         "all-times.7z", "no-times.7z", "behind-a-program.7z",
                                         "copy.zip", "deflate.zip", "deflate64.zip", "lzma.zip"));

class SevenZipExtractorOnCabinet : public SevenZipExtractor,
                                   public testing::WithParamInterface<const char*> {};

TEST_P(SevenZipExtractorOnCabinet, WritesItsFiles) {
    Tree expected = TreeContent(TestArchive("tree"));
    std::erase_if(expected, [](const auto& entry) { return !entry.first.starts_with(L"usb"); });
    expected[L"path.txt"] = "win10 win8 64\r\n";

    EXPECT_EQ(0, Extract(GetParam()));

    EXPECT_EQ(expected, Extracted());
}

INSTANTIATE_TEST_SUITE_P(, SevenZipExtractorOnCabinet, testing::Values("stored.cab", "mszip.cab"));

class SevenZipExtractorOnOneFile : public SevenZipExtractor,
                                   public testing::WithParamInterface<const char*> {};

TEST_P(SevenZipExtractorOnOneFile, WritesItAsContent) {
    EXPECT_EQ(0, Extract(GetParam()));

    EXPECT_EQ((Tree{{L"[Content]", FileContent(TestArchive("sample.bin"))}}), Extracted());
}

INSTANTIATE_TEST_SUITE_P(, SevenZipExtractorOnOneFile,
                         testing::Values("sample.lzma", "sample.lzma86", "sample-x86.lzma86"));

TEST_F(SevenZipExtractor, WritesFilesIntoFoldersThatTheArchiveDoesNotName) {
    EXPECT_EQ(0, Extract("without-folders.zip"));

    EXPECT_EQ((Tree{{L"deep", "(a folder)"},
                    {L"deep\\deeper", "(a folder)"},
                    {L"deep\\deeper\\deepest.txt", "deep"},
                    {L"plain.txt", "plain"}}),
              Extracted());
}

TEST_F(SevenZipExtractor, CreatesEmptyFolders) {
    EXPECT_EQ(0, Extract("folders.7z"));

    EXPECT_EQ((Tree{{L"applekis", "(a folder)"},
                    {L"applekis\\x86", "(a folder)"},
                    {L"applersm", "(a folder)"},
                    {L"applersm\\x86", "(a folder)"}}),
              Extracted());
}

TEST_F(SevenZipExtractor, ExtractsNothingFromAnEmptyArchive) {
    EXPECT_EQ(0, Extract("empty.7z"));

    EXPECT_EQ(Tree{}, Extracted());
}

TEST_F(SevenZipExtractor, CreatesTheDestination) {
    (void)extractor.SetArchivePath(TestArchive("drivers.7z"));

    EXPECT_EQ(0, extractor.ExtractTo(destination.Path(L"new\\folder"), nullptr));

    EXPECT_EQ(TreeContent(TestArchive("tree")), TreeContent(destination.Path(L"new\\folder")));
}

TEST_F(SevenZipExtractor, OpensAnArchiveWithAnyName) {
    const TemporaryFolder folder;
    ::CopyFileW(TestArchive("drivers.7z").c_str(), folder.Path(L"drivers.txt").c_str(), TRUE);
    (void)extractor.SetArchivePath(folder.Path(L"drivers.txt"));

    EXPECT_EQ(0, extractor.ExtractTo(destination.Path(), nullptr));

    EXPECT_EQ(TreeContent(TestArchive("tree")), Extracted());
}

TEST_F(SevenZipExtractor, SetsTheTimesOfFiles) {
    EXPECT_EQ(0, Extract("drivers.7z"));

    WIN32_FILE_ATTRIBUTE_DATA data{};
    ::GetFileAttributesExW(destination.Path(L"usb\\x64\\usbaapl64.sys").c_str(),
                           GetFileExInfoStandard, &data);
    const FILETIME newYear2010 = FileTime(129'067'776'000'000'000);
    EXPECT_EQ(0, ::CompareFileTime(&newYear2010, &data.ftLastWriteTime));
}

TEST_F(SevenZipExtractor, SetsTheAttributesOfFiles) {
    EXPECT_EQ(0, Extract("drivers.7z"));

    const auto readOnly = [&](const wchar_t* name) {
        return (::GetFileAttributesW(destination.Path(name).c_str()) & FILE_ATTRIBUTE_READONLY) !=
               0;
    };
    EXPECT_TRUE(readOnly(L"usb\\x86\\usbaapl.PNF"));
    EXPECT_FALSE(readOnly(L"usb\\x86\\usbaapl.inf"));
}

TEST_F(SevenZipExtractor, ExtractsOverAnOlderTree) {
    ASSERT_EQ(0, Extract("drivers.7z"));
    ::SetFileAttributesW(destination.Path(L"usb\\x86\\usbaapl.PNF").c_str(), FILE_ATTRIBUTE_NORMAL);
    WriteFileContent(destination.Path(L"usb\\x64\\usbaapl64.inf"), "an older driver, edited");

    EXPECT_EQ(0, Extract("drivers.7z"));

    EXPECT_EQ(TreeContent(TestArchive("tree")), Extracted());
}

TEST_F(SevenZipExtractor, DetectsTheFormatEvenWhenAnotherIsForced) {
    extractor.SetFormat(ArchiveFormat::kCab);

    EXPECT_EQ(0, Extract("drivers.7z"));

    EXPECT_EQ(ArchiveFormat::k7z, extractor.format);
    EXPECT_FALSE(extractor.formatForced);
}

TEST(DerivedSevenZipExtractor, LetsTheDerivedClassDetectTheFormat) {
    class Wrong : public SevenZip::SevenZipExtractor {
    public:
        bool DetectFormat() override {
            format = ArchiveFormat::k7z;
            return true;
        }
    };
    const TemporaryFolder destination;
    Wrong extractor;
    (void)extractor.SetArchivePath(TestArchive("without-folders.zip"));

    EXPECT_EQ(1, extractor.ExtractTo(destination.Path(), nullptr));
}

TEST(DerivedSevenZipExtractor, IgnoresTheResultOfTheDetection) {
    class Modest : public SevenZip::SevenZipExtractor {
    public:
        bool DetectFormat() override {
            format = ArchiveFormat::kZip;
            return false;
        }
    };
    const TemporaryFolder destination;
    Modest extractor;
    (void)extractor.SetArchivePath(TestArchive("without-folders.zip"));

    EXPECT_EQ(0, extractor.ExtractTo(destination.Path(), nullptr));

    EXPECT_EQ("plain", FileContent(destination.Path(L"plain.txt")));
}

TEST_F(SevenZipExtractor, ExtractsAllItemsInOneCallWhereverTheArchiveBegins) {
    std::vector<bool> startGiven;
    const HandlerOpen open(ArchiveFormat::k7z,
                           [&](auto handler, auto file, const UInt64* start, auto callback) {
                               startGiven.push_back(start != nullptr);
                               return open.Real(handler, file, start, callback);
                           });
    const HandlerExtract extract(
        ArchiveFormat::k7z,
        [&](auto handler, const UInt32* items, UInt32 count, Int32 testMode, auto callback) {
            EXPECT_EQ(nullptr, items);
            EXPECT_EQ(0xFFFFFFFFu, count);
            EXPECT_EQ(0, testMode);
            return extract.Real(handler, items, count, testMode, callback);
        });

    EXPECT_EQ(0, Extract("drivers.7z"));

    EXPECT_THAT(startGiven, ElementsAre(true, false));
}

// ---- archives that cannot be opened

TEST_F(SevenZipExtractor, Returns110AndWritesNothingWhenTheArchiveIsMissing) {
    EXPECT_EQ(110, Extract("missing.7z"));

    EXPECT_EQ(Tree{}, Extracted());
}

class SevenZipExtractorOnNoArchive : public SevenZipExtractor,
                                     public testing::WithParamInterface<const char*> {};

TEST_P(SevenZipExtractorOnNoArchive, ReturnsTheResultOfThe7zHandler) {
    EXPECT_EQ(1, Extract(GetParam()));

    EXPECT_EQ(Tree{}, Extracted());
}

INSTANTIATE_TEST_SUITE_P(, SevenZipExtractorOnNoArchive,
                         testing::Values("text.7z", "nothing.7z", "truncated.7z",
                                         "flipped-header.7z", "sample.xz"));

TEST_F(SevenZipExtractor, RefusesAnArchiveWithEncryptedNames) {
    EXPECT_EQ(Result(0x80004004), Extract("encrypted-names.7z"));

    EXPECT_EQ(Tree{}, Extracted());
}

class SevenZipExtractorOnEncrypted : public SevenZipExtractor,
                                     public testing::WithParamInterface<const char*> {};

TEST_P(SevenZipExtractorOnEncrypted, StopsAtTheFirstFileThatNeedsAPassword) {
    EXPECT_EQ(Result(0x80004004), Extract(GetParam()));

    EXPECT_FALSE(Extracted().contains(L"usb\\x64\\usbaapl64.sys"));
}

INSTANTIATE_TEST_SUITE_P(, SevenZipExtractorOnEncrypted,
                         testing::Values("encrypted.7z", "encrypted.zip"));

TEST_F(SevenZipExtractor, ReturnsAnErrorWhenThereIsNoHandler) {
    (void)extractor.SetArchivePath(TestArchive("drivers.7z"));
    const std::wstring path = destination.Path();
    const FailingAllocations none(FailingAllocations::FromSize{64});

    EXPECT_EQ(Result(0x80040111), extractor.ExtractTo(path, nullptr));
}

// ---- items that cannot be unpacked

TEST_F(SevenZipExtractor, SkipsFilesOfAnUnknownMethodWithoutAnError) {
    Tree expected = TreeContent(TestArchive("tree"));
    std::erase_if(expected, [](const auto& entry) {
        return entry.second != "(a folder)" && !entry.second.empty();
    });

    EXPECT_EQ(0, Extract("ppmd.7z"));

    EXPECT_EQ(expected, Extracted());
}

TEST_F(SevenZipExtractor, WritesAFileWithAWrongChecksumWithoutAnError) {
    EXPECT_EQ(0, Extract("wrong-sum.7z"));

    EXPECT_EQ("win10 win8 65\r\n", FileContent(destination.Path(L"path.txt")));
    EXPECT_EQ(16u, Extracted().size());
}

TEST_F(SevenZipExtractor, WritesTheReadablePartOfADamagedFileWithoutAnError) {
    EXPECT_EQ(0, Extract("flipped-data.7z"));

    const Tree whole = TreeContent(TestArchive("tree"));
    const std::string damaged = FileContent(destination.Path(L"usb\\x64\\usbaapl64.sys"));
    EXPECT_LT(0u, damaged.size());
    EXPECT_NE(whole.at(L"usb\\x64\\usbaapl64.sys"), damaged);
    EXPECT_EQ(whole.at(L"path.txt"), FileContent(destination.Path(L"path.txt")));
}

TEST_F(SevenZipExtractor, RollsBackAndFailsForADamagedFileInModeFive) {
    extractor.overwriteMode = OverwriteMode::kRollBack;
    WriteFileContent(destination.Path(L"path.txt"), "the older text");

    EXPECT_EQ(Result(0x80004005), Extract("wrong-sum.7z"));

    Tree files = Extracted();
    std::erase_if(files, [](const auto& entry) { return entry.second == "(a folder)"; });
    EXPECT_EQ((Tree{{L"path.txt", "the older text"}}), files);
}

// ---- results of the callback

TEST_F(SevenZipExtractor, ReturnsThePlainCode80InAnUnknownMode) {
    extractor.overwriteMode = static_cast<OverwriteMode>(6);
    WriteFileContent(destination.Path(L"usb\\x64\\usbaapl64.inf"), "old");

    EXPECT_EQ(80, Extract("drivers.7z"));

    EXPECT_EQ("old", FileContent(destination.Path(L"usb\\x64\\usbaapl64.inf")));
}

TEST_F(SevenZipExtractor, ReturnsThePlainCode1631WhenAFolderCannotBeCreated) {
    WriteFileContent(destination.Path(L"usb"), "a file");

    EXPECT_EQ(0x65F, Extract("drivers.7z"));
}

TEST_F(SevenZipExtractor, ReturnsTheErrorOfAFailedDelete) {
    WriteFileContent(destination.Path(L"usb\\x64\\usbaapl64.sys"), "old");
    const FakeApi<"SHFileOperationW", decltype(::SHFileOperationW)> fake([](auto) { return 5; });

    EXPECT_EQ(Result(0x80070005), Extract("drivers.7z"));

    EXPECT_EQ("old", FileContent(destination.Path(L"usb\\x64\\usbaapl64.sys")));
}

TEST_F(SevenZipExtractor, SkipsExistingFilesInModeTwo) {
    extractor.overwriteMode = OverwriteMode::kSkip;
    WriteFileContent(destination.Path(L"usb\\x64\\usbaapl64.sys"), "old");
    Tree expected = TreeContent(TestArchive("tree"));
    expected[L"usb\\x64\\usbaapl64.sys"] = "old";

    EXPECT_EQ(0, Extract("drivers.7z"));

    EXPECT_EQ(expected, Extracted());
}

// ---- progress

TEST_F(SevenZipExtractor, AnnouncesTheItemsBeforeItExtractsThem) {
    NiceMock<MockProgress> progress;
    const testing::InSequence inOrder;
    EXPECT_CALL(progress, OnItemCount(2));
    EXPECT_CALL(progress, OnItemList(ElementsAre(L"plain.txt", L"deep\\deeper\\deepest.txt"),
                                     ElementsAre(5u, 4u)))
        .WillOnce([&](auto, auto) {
            EXPECT_EQ(Tree{}, Extracted());
            return true;
        });
    EXPECT_CALL(progress, OnTotal(std::wstring(), 9));
    EXPECT_CALL(progress, ShouldExtract(_, _, false)).Times(AtLeast(1));

    EXPECT_EQ(0, Extract("without-folders.zip", &progress));
}

TEST_F(SevenZipExtractor, ReportsEachFileAndFinallyTheArchive) {
    NiceMock<MockProgress> progress;
    const testing::InSequence inOrder;
    EXPECT_CALL(progress, OnFileWritten(destination.Path(L"plain.txt"), 5));
    EXPECT_CALL(progress, OnFileDone(destination.Path(L"plain.txt"), 5));
    EXPECT_CALL(progress, OnFileWritten(destination.Path(L"deep\\deeper\\deepest.txt"), 4));
    EXPECT_CALL(progress, OnFileDone(destination.Path(L"deep\\deeper\\deepest.txt"), 4));
    EXPECT_CALL(progress, OnArchiveDone(TestArchive("without-folders.zip")));

    EXPECT_EQ(0, Extract("without-folders.zip", &progress));
}

TEST_F(SevenZipExtractor, ReportsItsProgress) {
    NiceMock<MockProgress> progress;
    std::uint64_t unpacked = 0;
    EXPECT_CALL(progress, OnRatio(_, _))
        .Times(AtLeast(1))
        .WillRepeatedly(testing::SaveArg<1>(&unpacked));

    EXPECT_EQ(0, Extract("drivers.7z", &progress));

    EXPECT_EQ(226'926u, unpacked);
}

TEST_F(SevenZipExtractor, ReportsTheDestinationForEachFolder) {
    NiceMock<MockProgress> progress;
    EXPECT_CALL(progress, OnArchiveDone(destination.Path() + L"\\")).Times(2);
    EXPECT_CALL(progress, OnArchiveDone(TestArchive("folders.7z")));

    EXPECT_EQ(0, Extract("folders.7z", &progress));
}

TEST_F(SevenZipExtractor, ExtractsWithoutTheListWhenOnlyTheCountIsWanted) {
    NiceMock<MockProgress> progress;
    EXPECT_CALL(progress, OnItemCount(16)).WillOnce(Return(false));
    EXPECT_CALL(progress, OnItemList(_, _)).Times(0);

    EXPECT_EQ(0, Extract("drivers.7z", &progress));

    EXPECT_EQ(TreeContent(TestArchive("tree")), Extracted());
}

TEST_F(SevenZipExtractor, SucceedsWithoutExtractingWhenTheListIsRefused) {
    StrictMock<MockProgress> progress;
    EXPECT_CALL(progress, OnItemCount(16));
    EXPECT_CALL(progress, OnItemList(SizeIs(16), SizeIs(16))).WillOnce(Return(false));

    EXPECT_EQ(0, Extract("drivers.7z", &progress));

    EXPECT_EQ(Tree{}, Extracted());
}

TEST_F(SevenZipExtractor, SkipsItemsThatTheProgressObjectRefuses) {
    NiceMock<MockProgress> progress;
    EXPECT_CALL(progress, ShouldExtract(_, _, _))
        .WillRepeatedly([](auto, const std::wstring& path, auto) { return path == L"path.txt"; });

    EXPECT_EQ(0, Extract("drivers.7z", &progress));

    EXPECT_EQ((Tree{{L"path.txt", "win10 win8 64\r\n"}}), Extracted());
}

TEST_F(SevenZipExtractor, ReportsTheArchiveEvenWhenItFails) {
    NiceMock<MockProgress> progress;
    EXPECT_CALL(progress, OnFileWritten(_, _)).WillOnce(Return(false));
    EXPECT_CALL(progress, OnArchiveDone(TestArchive("without-folders.zip")));

    EXPECT_EQ(Result(0x80004005), Extract("without-folders.zip", &progress));
}

TEST_F(SevenZipExtractor, Reports64BitSizes) {
    NiceMock<MockProgress> progress;
    const HandlerProperty sizes(ArchiveFormat::kZip, [](auto, auto, PROPID id, PROPVARIANT* value) {
        return id == kpidSize ? Number(VT_UI8, 0x7'0000'0009)(*value) : S_OK;
    });
    EXPECT_CALL(progress, OnItemList(_, ElementsAre(0x7'0000'0009u, 0x7'0000'0009u)))
        .WillOnce(Return(false));

    EXPECT_EQ(0, Extract("without-folders.zip", &progress));
}

TEST_F(SevenZipExtractor, FailsWhenTheListCannotBeRead) {
    StrictMock<MockProgress> progress;
    const HandlerProperty failing(ArchiveFormat::k7z, [](auto...) { return E_OUTOFMEMORY; });
    EXPECT_CALL(progress, OnItemCount(16));

    EXPECT_EQ(Result(0x80004005), Extract("drivers.7z", &progress));

    EXPECT_EQ(Tree{}, Extracted());
}

TEST_F(SevenZipExtractor, ReturnsTheErrorWhenTheItemsCannotBeCounted) {
    StrictMock<MockProgress> progress;
    const HandlerItemCount failing(ArchiveFormat::k7z, [](auto...) { return STG_E_READFAULT; });

    EXPECT_EQ(STG_E_READFAULT, Extract("drivers.7z", &progress));
}

// ---- handlers and handles

// Records when 7z handlers are closed and deleted.
class HandlerEnds {
public:
    std::vector<std::string> events;

private:
    HandlerClose close_{ArchiveFormat::k7z, [this](IInArchive* handler) {
                            events.push_back("Close");
                            return close_.Real(handler);
                        }};
    HandlerRelease release_{ArchiveFormat::k7z, [this](IInArchive* handler) {
                                const ULONG left = release_.Real(handler);
                                if (left == 0) events.push_back("gone");
                                return left;
                            }};
};

TEST_F(SevenZipExtractor, ClosesTheHandlersOfDetectionAndExtractionBeforeReleasingThem) {
    HandlerEnds ends;

    EXPECT_EQ(0, Extract("drivers.7z"));

    EXPECT_THAT(ends.events, ElementsAre("Close", "gone", "Close", "gone"));
}

TEST_F(SevenZipExtractor, ClosesTheHandlerWhenTheListIsRefused) {
    NiceMock<MockProgress> progress;
    ON_CALL(progress, OnItemList(_, _)).WillByDefault(Return(false));
    HandlerEnds ends;

    EXPECT_EQ(0, Extract("drivers.7z", &progress));

    EXPECT_THAT(ends.events, ElementsAre("Close", "gone", "Close", "gone"));
}

TEST_F(SevenZipExtractor, ClosesTheHandlerWhenTheExtractionFails) {
    WriteFileContent(destination.Path(L"usb"), "a file");
    HandlerEnds ends;

    EXPECT_EQ(0x65F, Extract("drivers.7z"));

    EXPECT_THAT(ends.events, ElementsAre("Close", "gone", "Close", "gone"));
}

TEST_F(SevenZipExtractor, LeavesNoFileOpen) {
    EXPECT_EQ(0, Extract("drivers.7z"));

    EXPECT_TRUE(IsNotInUse(TestArchive("drivers.7z")));
    EXPECT_TRUE(IsNotInUse(destination.Path(L"usb\\x64\\usbaapl64.sys")));
}

DWORD OpenHandles() {
    DWORD count = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &count);
    return count;
}

TEST_F(SevenZipExtractor, LeaksNoHandlesOverManyExtractions) {
    const auto extractOnce = [] {
        OpenState another;
        const TemporaryFolder folder;
        (void)another.SetArchivePath(TestArchive("without-folders.zip"));
        EXPECT_EQ(0, another.ExtractTo(folder.Path(), nullptr));
    };
    extractOnce();
    const DWORD before = OpenHandles();

    for (int i = 0; i < 50; ++i) extractOnce();

    EXPECT_EQ(before, OpenHandles());
}

// ---- exceptions

struct FailingItem {
    const char* name;
    const char* archive;
    ArchiveFormat format;
    UInt32 item;
    PROPID property;
};

class SevenZipExtractorWithAnUnreadableProperty : public SevenZipExtractor,
                                                  public testing::WithParamInterface<FailingItem> {
protected:
    // Extracts with a handler that cannot read that property of that item; returns what was thrown.
    HRESULT Thrown(const TemporaryFolder& folder) {
        const FailingItem& row = GetParam();
        const HandlerProperty failing(row.format, [&](IInArchive* handler, UInt32 item, PROPID id,
                                                      PROPVARIANT* value) {
            return item == row.item && id == row.property ? STG_E_READFAULT
                                                          : failing.Real(handler, item, id, value);
        });
        (void)extractor.SetArchivePath(TestArchive(row.archive));
        try {
            (void)extractor.ExtractTo(folder.Path(), nullptr);
        } catch (const _com_error& error) {
            return error.Error();
        }
        return S_OK;
    }
};

TEST_P(SevenZipExtractorWithAnUnreadableProperty, ThrowsTheErrorOfTheRead) {
    EXPECT_EQ(STG_E_READFAULT, Thrown(destination));
}

TEST_P(SevenZipExtractorWithAnUnreadableProperty, ReleasesEverythingBeforeItThrows) {
    const TemporaryFolder warmUp;
    ASSERT_EQ(STG_E_READFAULT, Thrown(warmUp));
    const DWORD before = OpenHandles();

    EXPECT_EQ(STG_E_READFAULT, Thrown(destination));

    EXPECT_TRUE(IsNotInUse(TestArchive(GetParam().archive)));
    for (const auto& [name, content] : Extracted()) {
        EXPECT_TRUE(content == "(a folder)" || IsNotInUse(destination.Path(name)));
    }
    EXPECT_EQ(before, OpenHandles());
}

INSTANTIATE_TEST_SUITE_P(
    , SevenZipExtractorWithAnUnreadableProperty,
    testing::Values(FailingItem{"FirstFolder", "drivers.7z", ArchiveFormat::k7z, 0, 3},
                    FailingItem{"EmptyFile", "drivers.7z", ArchiveFormat::k7z, 8, 9},
                    FailingItem{"FirstFileOfTheBlock", "drivers.7z", ArchiveFormat::k7z, 9, 6},
                    FailingItem{"FileInsideTheBlock", "drivers.7z", ArchiveFormat::k7z, 12, 12},
                    FailingItem{"LastFileOfTheBlock", "drivers.7z", ArchiveFormat::k7z, 15, 7},
                    FailingItem{"Bcj2", "bcj2.7z", ArchiveFormat::k7z, 12, 10},
                    FailingItem{"Stored7z", "copy.7z", ArchiveFormat::k7z, 12, 11},
                    FailingItem{"Deflate64", "deflate64.7z", ArchiveFormat::k7z, 12, 3},
                    FailingItem{"Zip", "deflate.zip", ArchiveFormat::kZip, 12, 3},
                    FailingItem{"Cab", "mszip.cab", ArchiveFormat::kCab, 3, 3},
                    FailingItem{"Lzma", "sample.lzma", ArchiveFormat::kLzma, 0, 9},
                    FailingItem{"LzmaX86", "sample-x86.lzma86", ArchiveFormat::kLzma86, 0, 9}),
    [](const auto& row) { return row.param.name; });

TEST_F(SevenZipExtractor, ClosesTheHandlerBeforeItThrows) {
    NiceMock<MockProgress> progress;
    ON_CALL(progress, ShouldExtract(_, std::wstring(L"usb\\x64\\usbaapl64.sys"), _))
        .WillByDefault([](auto...) -> bool { throw std::runtime_error("not this one"); });
    HandlerEnds ends;

    EXPECT_THROW((void)Extract("drivers.7z", &progress), std::runtime_error);

    EXPECT_THAT(ends.events, ElementsAre("Close", "gone", "Close", "gone"));
}

TEST_F(SevenZipExtractor, ThrowsWhenThereIsNoMemoryForAnItemPath) {
    (void)extractor.SetArchivePath(TestArchive("drivers.7z"));
    const std::wstring path = destination.Path();
    const Property longPath = Text(std::wstring(0x80'0000, L'x'));
    const HandlerProperty longPaths(
        ArchiveFormat::k7z, [&](IInArchive* handler, UInt32 item, PROPID id, PROPVARIANT* value) {
            return item == 12 && id == kpidPath ? longPath(*value)
                                                : longPaths.Real(handler, item, id, value);
        });
    HRESULT thrown = S_OK;
    try {
        const FailingAllocations none(FailingAllocations::FromSize{0x100'0000});
        (void)extractor.ExtractTo(path, nullptr);
    } catch (const _com_error& error) {
        thrown = error.Error();
    }

    EXPECT_EQ(E_OUTOFMEMORY, thrown);
}

struct Thrower {
    const char* name;
    void (*arrange)(NiceMock<MockProgress>& progress);
};

class SevenZipExtractorWithAThrowingProgress : public SevenZipExtractor,
                                               public testing::WithParamInterface<Thrower> {};

TEST_P(SevenZipExtractorWithAThrowingProgress, PassesOnTheExceptionAndLeavesNothingOpen) {
    NiceMock<MockProgress> progress;
    GetParam().arrange(progress);
    extractor.overwriteMode = OverwriteMode::kRollBack;
    HandlerEnds ends;

    EXPECT_THROW((void)Extract("wrong-sum.7z", &progress), std::runtime_error);

    EXPECT_THAT(ends.events, ElementsAre("Close", "gone", "Close", "gone"));
    EXPECT_TRUE(IsNotInUse(TestArchive("wrong-sum.7z")));
}

constexpr auto kThrow = [](auto&&...) -> bool { throw std::runtime_error("enough"); };
constexpr auto kThrowWithoutResult = [](auto&&...) -> void { throw std::runtime_error("enough"); };

INSTANTIATE_TEST_SUITE_P(
    , SevenZipExtractorWithAThrowingProgress,
    testing::Values(
        Thrower{"OnItemCount",
                [](auto& progress) { ON_CALL(progress, OnItemCount(_)).WillByDefault(kThrow); }},
        Thrower{"OnItemList",
                [](auto& progress) { ON_CALL(progress, OnItemList(_, _)).WillByDefault(kThrow); }},
        Thrower{"OnTotal",
                [](auto& progress) {
                    ON_CALL(progress, OnTotal(_, _)).WillByDefault(kThrowWithoutResult);
                }},
        Thrower{"OnRatio",
                [](auto& progress) {
                    ON_CALL(progress, OnRatio(_, _)).WillByDefault(kThrowWithoutResult);
                }},
        Thrower{"ShouldExtract",
                [](auto& progress) {
                    ON_CALL(progress, ShouldExtract(_, _, _)).WillByDefault(kThrow);
                }},
        Thrower{
            "OnFileWritten",
            [](auto& progress) { ON_CALL(progress, OnFileWritten(_, _)).WillByDefault(kThrow); }},
        Thrower{"OnFileDone",
                [](auto& progress) {
                    ON_CALL(progress, OnFileDone(_, _)).WillByDefault(kThrowWithoutResult);
                }},
        Thrower{"OnArchiveDone",
                [](auto& progress) {
                    ON_CALL(progress, OnArchiveDone(_)).WillByDefault(kThrowWithoutResult);
                }},
        Thrower{"OnRollback",
                [](auto& progress) {
                    ON_CALL(progress, OnRollback(_)).WillByDefault(kThrowWithoutResult);
                }}),
    [](const auto& row) { return row.param.name; });

// ---- message texts

// Records how system messages are looked up.
class MessageLookups {
public:
    explicit MessageLookups(std::function<DWORD(wchar_t** buffer)> answer)
        : format_([this, answer = std::move(answer)](DWORD how, auto source, DWORD code, DWORD in,
                                                     wchar_t* buffer, DWORD, auto) {
              codes.push_back(code);
              flags = how;
              language = in;
              EXPECT_EQ(nullptr, source);
              return answer(reinterpret_cast<wchar_t**>(buffer));
          }),
          free_([this](HLOCAL block) {
              if (block != nullptr) freed.push_back(block);
              return free_.Real(block);
          }) {}

    std::vector<DWORD> codes;
    DWORD flags = 0;
    DWORD language = 99;
    std::vector<HLOCAL> freed;

private:
    FakeApi<"FormatMessageW", decltype(::FormatMessageW)> format_;
    FakeApi<"LocalFree", decltype(::LocalFree)> free_;
};

wchar_t* SystemText(const wchar_t* text) {
    auto* const block =
        static_cast<wchar_t*>(::LocalAlloc(LMEM_FIXED, (std::wcslen(text) + 1) * sizeof(wchar_t)));
    return std::wcscpy(block, text);
}

TEST_F(SevenZipExtractor, LooksUpTheTextOfTheMissingArchive) {
    const MessageLookups lookups([](auto) { return 1; });

    EXPECT_EQ(110, Extract("missing.7z"));

    EXPECT_THAT(lookups.codes, ElementsAre(110u));
    EXPECT_EQ(0x1300u, lookups.flags);
    EXPECT_EQ(0u, lookups.language);
}

TEST_F(SevenZipExtractor, LooksUpTheTextOfAFailedOpen) {
    const MessageLookups lookups([](auto) { return 1; });

    EXPECT_EQ(1, Extract("text.7z"));

    EXPECT_THAT(lookups.codes, ElementsAre(1u));
}

TEST_F(SevenZipExtractor, LooksUpTheTextOfAFailedExtraction) {
    WriteFileContent(destination.Path(L"usb"), "a file");
    const MessageLookups lookups([](auto) { return 1; });

    EXPECT_EQ(0x65F, Extract("drivers.7z"));

    EXPECT_THAT(lookups.codes, ElementsAre(0x65Fu));
}

TEST_F(SevenZipExtractor, LooksUpNoTextWhenItSucceeds) {
    const MessageLookups lookups([](auto) { return 1; });

    EXPECT_EQ(0, Extract("drivers.7z"));

    EXPECT_THAT(lookups.codes, testing::IsEmpty());
}

TEST_F(SevenZipExtractor, NeitherKeepsNorFreesATextThatWasFound) {
    wchar_t* const text = SystemText(L"cannot be opened");
    {
        const MessageLookups lookups([&](wchar_t** buffer) {
            *buffer = text;
            return 16;
        });

        EXPECT_EQ(110, Extract("missing.7z"));

        EXPECT_EQ(L"", extractor.lastMessage);
        EXPECT_THAT(lookups.freed, testing::Not(testing::Contains(text)));
    }
    ::LocalFree(text);
}

TEST_F(SevenZipExtractor, KeepsAndFreesWhatAFailedLookupLeavesInTheBuffer) {
    wchar_t* const text = SystemText(L"left in the buffer");
    const MessageLookups lookups([&](wchar_t** buffer) {
        *buffer = text;
        return 0;
    });

    EXPECT_EQ(110, Extract("missing.7z"));

    EXPECT_EQ(L"left in the buffer", extractor.lastMessage);
    EXPECT_THAT(lookups.freed, testing::Contains(text));
}

TEST_F(SevenZipExtractor, KeepsNothingWhenAFailedLookupLeavesNothing) {
    const MessageLookups lookups([](wchar_t** buffer) {
        EXPECT_EQ(nullptr, *buffer);
        return 0;
    });

    EXPECT_EQ(110, Extract("missing.7z"));

    EXPECT_EQ(L"", extractor.lastMessage);
}

}  // namespace
