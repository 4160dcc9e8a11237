#include "telnet/line_splitter.h"

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "telnet/line_splitter_model.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The chunk and its slack fill a heap block exactly, so that a read past them meets the guard page
// of the preset `guarded`.
std::vector<std::string> Split(const std::string& chunk,
                               const std::string& slack = std::string(2, '\0')) {
    const std::string all = chunk + slack;
    const auto block = std::make_unique_for_overwrite<char[]>(all.size());
    all.copy(block.get(), all.size());
    std::vector<std::string> texts;
    TELNET::SplitLines(block.get(), static_cast<int>(chunk.size()),
                       [&](const char* text, int length) {
                           texts.emplace_back(text, static_cast<std::size_t>(length));
                       });
    return texts;
}

TEST(SplitLines, GivesACompleteLineWithItsEndAndThenItsLineFeedAlone) {
    EXPECT_THAT(Split("abc\r\n"), ElementsAre("abc\r\n", "\n"));
}

TEST(SplitLines, GivesTheBeginningOfAnUnfinishedLine) {
    EXPECT_THAT(Split("abc"), ElementsAre("abc"));
}

TEST(SplitLines, GivesTheLineFeedAloneOnlyOnceForSeveralLines) {
    EXPECT_THAT(Split("one\ntwo\nthree\n"), ElementsAre("one\n", "two\n", "three\n", "\n"));
}

TEST(SplitLines, GivesNoLoneLineFeedWhenAnotherLineHasBegun) {
    EXPECT_THAT(Split("one\ntw"), ElementsAre("one\n", "tw"));
}

TEST(SplitLines, GivesNothingForAnEmptyChunk) {
    EXPECT_THAT(Split(""), IsEmpty());
}

TEST(SplitLines, GivesNothingForLineEndsAlone) {
    EXPECT_THAT(Split("\r\n\r\n"), IsEmpty());
}

TEST(SplitLines, DropsEmptyLines) {
    EXPECT_THAT(Split("a\n\n\nb\n"), ElementsAre("a\n", "b\n", "\n"));
}

TEST(SplitLines, DropsControlAndHighBytesBeforeALine) {
    EXPECT_THAT(Split("\x01\x1F\x80\xFE"
                      "ab\n\t\xC3\x08"
                      "cd\n"),
                ElementsAre("ab\n", "cd\n", "\n"));
}

TEST(SplitLines, KeepsControlAndHighBytesInsideALine) {
    EXPECT_THAT(Split("a\x01\x80\xFF\xFE\tb\n"), ElementsAre("a\x01\x80\xFF\xFE\tb\n", "\n"));
}

TEST(SplitLines, KeepsAZeroByteInsideALine) {
    EXPECT_THAT(Split(std::string("a\0b\n", 4)), ElementsAre(std::string("a\0b\n", 4), "\n"));
}

TEST(SplitLines, BeginsALineWithABlank) {
    EXPECT_THAT(Split("\x1F \n"), ElementsAre(" \n", "\n"));
}

TEST(SplitLines, BeginsALineWithTheByte7F) {
    EXPECT_THAT(Split("\x80\x7F\n"), ElementsAre("\x7F\n", "\n"));
}

TEST(SplitLines, SkipsATelnetCommandBeforeALine) {
    EXPECT_THAT(Split("\xFF\xFB\x01hi\n"), ElementsAre("hi\n", "\n"));
}

TEST(SplitLines, SkipsTheTwoBytesAfterACommandByteWhateverTheyAre) {
    EXPECT_THAT(Split("\xFF\n\xFF"
                      "ab\xFF\n"),
                ElementsAre("ab\xFF\n", "\n"));
}

TEST(SplitLines, SkipsPrintableBytesOfACommand) {
    EXPECT_THAT(Split("\xFF"
                      "abcd\n"),
                ElementsAre("cd\n", "\n"));
}

TEST(SplitLines, SkipsCommandsBetweenLines) {
    EXPECT_THAT(Split("a\n\xFF\xFD\x03\xFF\xFB\x01"
                      "b\n"),
                ElementsAre("a\n", "b\n", "\n"));
}

TEST(SplitLines, GivesTheBytesDroppedAfterTheLastLineTogetherWithItsLineFeed) {
    EXPECT_THAT(Split("a\n\r\x01\x80"), ElementsAre("a\n", "\n\r\x01\x80"));
}

TEST(SplitLines, ReadsTwoBytesPastTheChunkForACommandByteAtItsEnd) {
    EXPECT_THAT(Split("a\n\xFF", "xy"), ElementsAre("a\n", "\n\xFFxy"));
}

TEST(SplitLines, ReadsOneBytePastTheChunkForTwoCommandBytesAtItsEnd) {
    EXPECT_THAT(Split("a\n\xFF\xFB", "xy"), ElementsAre("a\n", "\n\xFF\xFBx"));
}

TEST(SplitLines, ReadsNothingPastTheChunkForACommandThatJustFits) {
    EXPECT_THAT(Split("a\n\xFF\xFB\x01", "xy"), ElementsAre("a\n", "\n\xFF\xFB\x01"));
}

TEST(SplitLines, GivesNothingForATruncatedCommandWithoutALineBeforeIt) {
    EXPECT_THAT(Split("\r\n\xFF", "xy"), IsEmpty());
}

TEST(SplitLines, GivesTheLinesOfAFullReceiveBuffer) {
    EXPECT_THAT(Split(std::string(8191, 'x') + "\n"),
                ElementsAre(std::string(8191, 'x') + "\n", "\n"));
}

TEST(SplitLines, AgreesWithTheModelOnRandomChunks) {
    std::mt19937 random(20'240'607);
    for (int round = 0; round < 20'000; ++round) {
        const std::string chunk = RandomChunk(random, 40);

        ASSERT_EQ(ModelSplit(chunk, "xy"), Split(chunk, "xy")) << testing::PrintToString(chunk);
    }
}

}  // namespace
