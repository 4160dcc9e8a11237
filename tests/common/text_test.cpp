#include "common/text.h"

#include <gtest/gtest.h>

namespace {

TEST(EqualIgnoringCase, IgnoresTheCaseOfLettersBeyondAscii) {
    EXPECT_TRUE(tools::EqualIgnoringCase(L"\u00DC.INF", L"\u00FC.inf"));
}

TEST(EqualIgnoringCase, TellsDifferentTextsApart) {
    EXPECT_FALSE(tools::EqualIgnoringCase(L"a.inf", L"a.inf "));
    EXPECT_FALSE(tools::EqualIgnoringCase(L"a", L"b"));
}

TEST(Utf8, ConvertsToUtf16AndBack) {
    const std::wstring text = L"\u00FC \u65E5 \xD83D\xDE00";
    const std::string bytes = "\xC3\xBC \xE6\x97\xA5 \xF0\x9F\x98\x80";

    EXPECT_EQ(bytes, tools::ToUtf8(text));
    EXPECT_EQ(text, tools::FromUtf8(bytes));
}

TEST(Utf8, OfAnEmptyTextIsEmpty) {
    EXPECT_EQ("", tools::ToUtf8(L""));
    EXPECT_EQ(L"", tools::FromUtf8(""));
}

TEST(Utf8, KeepsAZeroInsideTheText) {
    EXPECT_EQ(std::string("a\0b", 3), tools::ToUtf8(std::wstring(L"a\0b", 3)));
}

TEST(Utf8, ReplacesABrokenSequence) {
    EXPECT_EQ(
        L"a\uFFFD"
        L"b",
        tools::FromUtf8("a\xFF"
                        "b"));
}

TEST(FromAnsi, ReadsAscii) {
    EXPECT_EQ(L"SetUpKisDriver inf path", tools::FromAnsi("SetUpKisDriver inf path"));
}

}  // namespace
