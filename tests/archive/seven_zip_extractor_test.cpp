#include "archive/seven_zip_extractor.h"

#include <gtest/gtest.h>

#include "archive/test_archives.h"
#include "support/temporary_folder.h"

namespace {

using SevenZip::SevenZipExtractor;

std::int32_t Extract(const std::string& archive, const TemporaryFolder& destination) {
    SevenZipExtractor extractor;
    (void)extractor.SetArchivePath(TestArchive(archive));
    return extractor.ExtractTo(destination.Path(), nullptr);
}

class SevenZipExtractorOn : public testing::TestWithParam<const char*> {};

TEST_P(SevenZipExtractorOn, WritesTheWholeTree) {
    const TemporaryFolder destination;

    EXPECT_EQ(0, Extract(GetParam(), destination));

    EXPECT_EQ(TreeContent(TestArchive("tree")), TreeContent(destination.Path()));
}

INSTANTIATE_TEST_SUITE_P(, SevenZipExtractorOn,
                         testing::Values("drivers.7z", "lzma.7z", "copy.7z", "delta.7z", "bcj2.7z",
                                         "deflate.7z", "deflate64.7z", "separate.7z",
                                         "all-times.7z", "no-times.7z", "behind-a-program.7z",
                                         "copy.zip", "deflate.zip", "deflate64.zip", "lzma.zip"));

}  // namespace
