#include "archive/seven_zip_archive.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <vector>

#include "archive/fake_archive.h"
#include "archive/handler_patch.h"
#include "archive/test_archives.h"
#include "support/temporary_folder.h"

namespace {

using namespace SevenZip;
using testing::ElementsAre;
using testing::IsEmpty;

// The archive with its protected members made public, and a count of how often its item list is
// read.
class OpenState : public SevenZip::SevenZipArchive {
public:
    using SevenZipArchive::archivePath;
    using SevenZipArchive::compressionLevel;
    using SevenZipArchive::format;
    using SevenZipArchive::formatForced;
    using SevenZipArchive::itemCount;
    using SevenZipArchive::itemNames;
    using SevenZipArchive::itemSizes;
    using SevenZipArchive::metadataRead;

    bool ReadMetadata() override {
        ++reads;
        return SevenZipArchive::ReadMetadata();
    }

    int reads = 0;
};

class SevenZipArchive : public testing::Test {
protected:
    void Name(const std::string& file) { (void)archive.SetArchivePath(TestArchive(file)); }

    OpenState archive;
};

TEST_F(SevenZipArchive, StartsEmptyAndInThe7zFormat) {
    EXPECT_FALSE(archive.metadataRead);
    EXPECT_FALSE(archive.formatForced);
    EXPECT_EQ(L"", archive.archivePath);
    EXPECT_EQ(1u, static_cast<unsigned>(archive.format));
    EXPECT_EQ(0u, archive.compressionLevel);
    EXPECT_EQ(0u, archive.itemCount);
    EXPECT_THAT(archive.itemNames, IsEmpty());
    EXPECT_THAT(archive.itemSizes, IsEmpty());
}

TEST_F(SevenZipArchive, LaysOutItsStateInAFixedOrder) {
    const std::vector<const void*> places{
        &archive.metadataRead,     &archive.formatForced, &archive.archivePath, &archive.format,
        &archive.compressionLevel, &archive.itemCount,    &archive.itemNames,   &archive.itemSizes};

    EXPECT_TRUE(std::ranges::is_sorted(places));
}

TEST_F(SevenZipArchive, SetsThePathAndNothingElse) {
    archive.metadataRead = true;
    archive.formatForced = true;
    archive.itemCount = 3;

    EXPECT_TRUE(archive.SetArchivePath(L"C:\\driver.7z"));

    EXPECT_EQ(L"C:\\driver.7z", archive.archivePath);
    EXPECT_TRUE(archive.metadataRead);
    EXPECT_TRUE(archive.formatForced);
    EXPECT_EQ(3u, archive.itemCount);
}

TEST_F(SevenZipArchive, AcceptsAReferenceToItsOwnPath) {
    (void)archive.SetArchivePath(L"C:\\a path longer than a short string\\driver.7z");

    EXPECT_TRUE(archive.SetArchivePath(archive.archivePath));

    EXPECT_EQ(L"C:\\a path longer than a short string\\driver.7z", archive.archivePath);
}

TEST_F(SevenZipArchive, MarksItselfAsUnreadWhenAFormatIsForced) {
    archive.metadataRead = true;

    archive.SetFormat(ArchiveFormat::kCab);

    EXPECT_EQ(8u, static_cast<unsigned>(archive.format));
    EXPECT_TRUE(archive.formatForced);
    EXPECT_FALSE(archive.metadataRead);
}

TEST_F(SevenZipArchive, StoresTheCompressionLevel) {
    archive.SetCompressionLevel(9);

    EXPECT_EQ(9u, archive.GetCompressionLevel());
    EXPECT_EQ(9u, archive.compressionLevel);
}

// ---- detection

struct FileRow {
    const char* file;
    unsigned format;
};

class DetectFormat : public testing::TestWithParam<FileRow> {};

TEST_P(DetectFormat, GoesByTheContent) {
    OpenState archive;
    (void)archive.SetArchivePath(TestArchive(GetParam().file));

    EXPECT_TRUE(archive.DetectFormat());

    EXPECT_EQ(GetParam().format, static_cast<unsigned>(archive.format));
}

TEST_P(DetectFormat, IgnoresTheFileName) {
    const TemporaryFolder folder;
    OpenState archive;
    (void)archive.SetArchivePath(folder.Path(L"archive.txt"));
    ::CopyFileW(TestArchive(GetParam().file).c_str(), folder.Path(L"archive.txt").c_str(), TRUE);

    EXPECT_TRUE(archive.DetectFormat());

    EXPECT_EQ(GetParam().format, static_cast<unsigned>(archive.format));
}

INSTANTIATE_TEST_SUITE_P(, DetectFormat,
                         testing::Values(FileRow{"drivers.7z", 1}, FileRow{"empty.7z", 1},
                                         FileRow{"encrypted.7z", 1}, FileRow{"copy.zip", 2},
                                         FileRow{"deflate.zip", 2}, FileRow{"lzma.zip", 2},
                                         FileRow{"stored.cab", 8}, FileRow{"mszip.cab", 8},
                                         FileRow{"sample.lzma", 9}, FileRow{"sample.lzma86", 10},
                                         FileRow{"sample-x86.lzma86", 10}));

class DetectFormatOfUnknownContent : public testing::TestWithParam<const char*> {};

TEST_P(DetectFormatOfUnknownContent, LeavesTheFormatUnknown) {
    OpenState archive;
    (void)archive.SetArchivePath(TestArchive(GetParam()));

    EXPECT_FALSE(archive.DetectFormat());

    EXPECT_EQ(0u, static_cast<unsigned>(archive.format));
}

INSTANTIATE_TEST_SUITE_P(, DetectFormatOfUnknownContent,
                         testing::Values("text.7z", "nothing.7z", "truncated.7z",
                                         "flipped-header.7z", "sample.xz", "behind-a-program.7z",
                                         "encrypted-names.7z"));

TEST_F(SevenZipArchive, KeepsTheFormatWhenTheFileToDetectItFromIsMissing) {
    Name("missing.7z");
    archive.format = ArchiveFormat::kCab;

    EXPECT_FALSE(archive.DetectFormat());

    EXPECT_EQ(ArchiveFormat::kCab, archive.format);
}

TEST_F(SevenZipArchive, DetectsTheFormatEvenWhenOneIsForced) {
    Name("stored.cab");
    archive.SetFormat(ArchiveFormat::kZip);

    EXPECT_TRUE(archive.DetectFormat());

    EXPECT_EQ(ArchiveFormat::kCab, archive.format);
    EXPECT_FALSE(archive.formatForced);
}

// Observes every attempt to open a file as an archive, whichever handler makes it.
class OpenAttempts {
public:
    using Watch =
        std::function<void(IInArchive*, IInStream*, const UInt64*, IArchiveOpenCallback*)>;

    explicit OpenAttempts(Watch watch) : watch_(std::move(watch)) {}

private:
    template <int Index>
    HandlerOpen::Behaviour Behaviour() {
        return [this](IInArchive* handler, IInStream* file, const UInt64* start,
                      IArchiveOpenCallback* callback) {
            watch_(handler, file, start, callback);
            return opens_[Index].Real(handler, file, start, callback);
        };
    }

    Watch watch_;
    HandlerOpen opens_[4]{{ArchiveFormat::k7z, Behaviour<0>()},
                          {ArchiveFormat::kZip, Behaviour<1>()},
                          {ArchiveFormat::kCab, Behaviour<2>()},
                          {ArchiveFormat::kLzma, Behaviour<3>()}};  // and Lzma86
};

struct CandidateRow {
    unsigned current;
    std::vector<unsigned> tried;
};

class DetectionOrder : public testing::TestWithParam<CandidateRow> {};

TEST_P(DetectionOrder, StartsWithTheCurrentFormatAndTriesNoneTwice) {
    OpenState archive;
    (void)archive.SetArchivePath(TestArchive("text.7z"));
    archive.format = static_cast<ArchiveFormat>(GetParam().current);
    std::vector<unsigned> tried;
    const OpenAttempts attempts(
        [&](auto...) { tried.push_back(static_cast<unsigned>(archive.format)); });

    EXPECT_FALSE(archive.DetectFormat());

    EXPECT_EQ(GetParam().tried, tried);
}

INSTANTIATE_TEST_SUITE_P(
    , DetectionOrder,
    testing::Values(CandidateRow{1, {1, 10, 9, 8, 2}}, CandidateRow{2, {2, 1, 10, 9, 8}},
                    CandidateRow{8, {8, 1, 10, 9, 2}}, CandidateRow{9, {9, 1, 10, 8, 2}},
                    CandidateRow{10, {10, 1, 9, 8, 2}}, CandidateRow{0, {1, 10, 9, 8, 2}},
                    CandidateRow{7, {1, 10, 9, 8, 2}}));

TEST_F(SevenZipArchive, StopsDetectingAtTheFirstFormatThatOpens) {
    Name("stored.cab");
    std::vector<unsigned> tried;
    const OpenAttempts attempts(
        [&](auto...) { tried.push_back(static_cast<unsigned>(archive.format)); });

    EXPECT_TRUE(archive.DetectFormat());

    EXPECT_THAT(tried, ElementsAre(1u, 10u, 9u, 8u));
}

TEST_F(SevenZipArchive, DetectsOnlyAtTheStartOfTheFile) {
    Name("text.7z");
    int attemptsAtStart = 0;
    const OpenAttempts attempts([&](auto, IInStream* file, const UInt64* maximumStart, auto) {
        UInt64 position = 99;
        file->Seek(0, STREAM_SEEK_CUR, &position);
        if (position == 0 && maximumStart != nullptr && *maximumStart == 0) ++attemptsAtStart;
    });

    EXPECT_FALSE(archive.DetectFormat());

    EXPECT_EQ(5, attemptsAtStart);
}

TEST_F(SevenZipArchive, UsesOneCallbackForAllAttemptsAtDetection) {
    Name("text.7z");
    std::vector<IArchiveOpenCallback*> callbacks;
    const OpenAttempts attempts(
        [&](auto, auto, auto, IArchiveOpenCallback* callback) { callbacks.push_back(callback); });

    EXPECT_FALSE(archive.DetectFormat());

    ASSERT_EQ(5u, callbacks.size());
    EXPECT_NE(nullptr, callbacks.front());
    EXPECT_EQ(std::vector(5, callbacks.front()), callbacks);
}

TEST_F(SevenZipArchive, ClosesTheFileAfterDetection) {
    Name("drivers.7z");

    EXPECT_TRUE(archive.DetectFormat());

    EXPECT_TRUE(IsNotInUse(TestArchive("drivers.7z")));
}

// ---- GetFormat

TEST_F(SevenZipArchive, ReturnsTheDetectedFormat) {
    Name("deflate.zip");

    EXPECT_EQ(ArchiveFormat::kZip, archive.GetFormat());

    EXPECT_TRUE(archive.metadataRead);
}

TEST_F(SevenZipArchive, ReturnsAForcedFormatWithoutReading) {
    Name("deflate.zip");
    archive.SetFormat(ArchiveFormat::kCab);

    EXPECT_EQ(ArchiveFormat::kCab, archive.GetFormat());

    EXPECT_EQ(0, archive.reads);
}

TEST_F(SevenZipArchive, ReadsTheFileOnceForTheFormat) {
    Name("deflate.zip");

    (void)archive.GetFormat();
    (void)archive.GetFormat();

    EXPECT_EQ(1, archive.reads);
}

TEST_F(SevenZipArchive, ReadsTheFileAgainForTheFormatAfterAFailure) {
    Name("text.7z");

    EXPECT_EQ(ArchiveFormat::kUnknown, archive.GetFormat());
    EXPECT_FALSE(archive.metadataRead);
    Name("deflate.zip");

    EXPECT_EQ(ArchiveFormat::kZip, archive.GetFormat());
}

// ---- the item list

TEST_F(SevenZipArchive, ListsTheItemsOfAnArchive) {
    Name("without-folders.zip");

    EXPECT_TRUE(archive.ReadMetadata());

    EXPECT_EQ(2u, archive.itemCount);
    EXPECT_EQ((std::vector<std::wstring>{L"plain.txt", L"deep\\deeper\\deepest.txt"}),
              archive.itemNames);
    EXPECT_THAT(archive.itemSizes, ElementsAre(5u, 4u));
    EXPECT_TRUE(archive.metadataRead);
}

TEST_F(SevenZipArchive, ListsFoldersAndFilesOfASolidArchive) {
    Name("drivers.7z");

    const std::vector<std::wstring> names = archive.GetItemNames();
    const std::vector<std::uint32_t> sizes = archive.GetItemSizes();

    EXPECT_EQ(16u, archive.GetItemCount());
    ASSERT_EQ(16u, names.size());
    ASSERT_EQ(16u, sizes.size());
    const auto driver = std::ranges::find(names, L"usb\\x64\\usbaapl64.sys");
    ASSERT_NE(names.end(), driver);
    EXPECT_EQ(150'000u, sizes[static_cast<std::size_t>(driver - names.begin())]);
    EXPECT_NE(names.end(), std::ranges::find(names, L"applekis\\x86"));
}

TEST_F(SevenZipArchive, ListsAnUnnamedItemWithAnEmptyName) {
    Name("sample.lzma86");

    EXPECT_EQ(std::vector<std::wstring>{L""}, archive.GetItemNames());
    EXPECT_THAT(archive.GetItemSizes(), ElementsAre(100'000u));
}

TEST_F(SevenZipArchive, ListsNothingForAnEmptyArchive) {
    Name("empty.7z");

    EXPECT_TRUE(archive.ReadMetadata());

    EXPECT_EQ(0u, archive.itemCount);
    EXPECT_THAT(archive.itemNames, IsEmpty());
    EXPECT_THAT(archive.itemSizes, IsEmpty());
}

TEST_F(SevenZipArchive, ReturnsTheLower32BitsOfASize) {
    Name("without-folders.zip");
    const HandlerProperty sizes(ArchiveFormat::kZip, [](auto, auto, PROPID id, PROPVARIANT* value) {
        return id == kpidSize ? Number(VT_UI8, 0x7'0000'0009)(*value) : S_OK;
    });

    EXPECT_THAT(archive.GetItemSizes(), ElementsAre(9u, 9u));
}

TEST_F(SevenZipArchive, ListsAnArchiveAfterAProgramWhenItsFormatIsForced) {
    Name("behind-a-program.7z");
    archive.SetFormat(ArchiveFormat::k7z);

    EXPECT_TRUE(archive.ReadMetadata());

    EXPECT_EQ(16u, archive.itemCount);
}

TEST_F(SevenZipArchive, ReadsWithAForcedFormatWithoutDetection) {
    Name("stored.cab");
    archive.SetFormat(ArchiveFormat::kCab);
    int attempts = 0;
    const OpenAttempts watched([&](auto...) { ++attempts; });

    EXPECT_TRUE(archive.ReadMetadata());

    EXPECT_EQ(1, attempts);
    EXPECT_EQ(7u, archive.itemCount);
}

TEST_F(SevenZipArchive, FailsToReadWithAWrongForcedFormat) {
    Name("stored.cab");
    archive.SetFormat(ArchiveFormat::kZip);

    EXPECT_FALSE(archive.ReadMetadata());

    EXPECT_EQ(ArchiveFormat::kZip, archive.format);
    EXPECT_TRUE(archive.formatForced);
    EXPECT_FALSE(archive.metadataRead);
}

TEST_F(SevenZipArchive, FailsToReadAMissingFile) {
    Name("missing.7z");

    EXPECT_FALSE(archive.ReadMetadata());

    EXPECT_FALSE(archive.metadataRead);
}

TEST_F(SevenZipArchive, FailsToReadAnArchiveAfterAProgramWhenItsFormatIsNotForced) {
    Name("behind-a-program.7z");

    EXPECT_FALSE(archive.ReadMetadata());
}

TEST_F(SevenZipArchive, FailsToReadWhenAPropertyCannotBeRead) {
    Name("drivers.7z");
    const HandlerProperty failing(ArchiveFormat::k7z, [&](auto handler, UInt32 item, PROPID id,
                                                          auto value) {
        return item == 5 && id == kpidSize ? E_OUTOFMEMORY : failing.Real(handler, item, id, value);
    });

    EXPECT_FALSE(archive.ReadMetadata());

    EXPECT_EQ(0u, archive.itemCount);
    EXPECT_THAT(archive.itemNames, IsEmpty());
    EXPECT_THAT(archive.itemSizes, IsEmpty());
}

TEST_F(SevenZipArchive, FailsToReadWhenTheItemsCannotBeCounted) {
    Name("drivers.7z");
    const HandlerItemCount failing(ArchiveFormat::k7z, [](auto...) { return E_FAIL; });

    EXPECT_FALSE(archive.ReadMetadata());
}

TEST_F(SevenZipArchive, ClearsTheItemsOfThePreviousArchiveWhenReadingFails) {
    Name("without-folders.zip");
    ASSERT_TRUE(archive.ReadMetadata());
    Name("missing.7z");

    EXPECT_FALSE(archive.ReadMetadata());

    EXPECT_EQ(0u, archive.itemCount);
    EXPECT_THAT(archive.itemNames, IsEmpty());
    EXPECT_THAT(archive.itemSizes, IsEmpty());
}

TEST_F(SevenZipArchive, ReadsTheListOnceForAllGetters) {
    Name("without-folders.zip");

    (void)archive.GetItemCount();
    (void)archive.GetItemNames();
    (void)archive.GetItemSizes();
    (void)archive.GetFormat();

    EXPECT_EQ(1, archive.reads);
}

TEST_F(SevenZipArchive, ReadsTheListAgainAfterAFormatIsSet) {
    Name("without-folders.zip");
    (void)archive.GetItemCount();

    archive.SetFormat(ArchiveFormat::kZip);
    (void)archive.GetItemCount();

    EXPECT_EQ(2, archive.reads);
}

TEST_F(SevenZipArchive, ReturnsCopiesOfItsLists) {
    Name("without-folders.zip");

    archive.GetItemNames().clear();
    archive.GetItemSizes().clear();

    EXPECT_EQ(2u, archive.GetItemNames().size());
    EXPECT_EQ(2u, archive.GetItemSizes().size());
}

// An archive whose items come from the derived class.
class OwnItems : public SevenZip::SevenZipArchive {
public:
    bool ReadMetadata() override {
        itemCount = 2;
        itemNames = {L"a", L"b"};
        itemSizes = {1, 2};
        return true;
    }
};

TEST(DerivedSevenZipArchive, ReturnsTheListsOfTheDerivedClass) {
    EXPECT_EQ(2u, OwnItems().GetItemCount());
    EXPECT_EQ((std::vector<std::wstring>{L"a", L"b"}), OwnItems().GetItemNames());
    EXPECT_EQ((std::vector<std::uint32_t>{1, 2}), OwnItems().GetItemSizes());
}

TEST(DerivedSevenZipArchive, IsDeletedThroughItsBase) {
    bool gone = false;
    class Watched : public SevenZip::SevenZipArchive {
    public:
        explicit Watched(bool& flag) : flag_(flag) {}
        ~Watched() override { flag_ = true; }

    private:
        bool& flag_;
    };
    SevenZip::SevenZipArchive* const archive = new Watched(gone);

    delete archive;

    EXPECT_TRUE(gone);
}

TEST_F(SevenZipArchive, ClosesEveryHandlerBeforeReleasingIt) {
    Name("drivers.7z");
    std::vector<std::string> events;
    const HandlerClose close(ArchiveFormat::k7z, [&](IInArchive* handler) {
        events.push_back("Close");
        return close.Real(handler);
    });
    const HandlerRelease release(ArchiveFormat::k7z, [&](IInArchive* handler) {
        const ULONG left = release.Real(handler);
        if (left == 0) events.push_back("gone");
        return left;
    });

    EXPECT_TRUE(archive.ReadMetadata());

    EXPECT_THAT(events, ElementsAre("Close", "gone", "Close", "gone"));
}

}  // namespace
