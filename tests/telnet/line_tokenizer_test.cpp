#include "telnet/line_tokenizer.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/process_counts.h"

namespace {

using TELNET::g_tokens;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

class LineTokenizer : public testing::Test {
protected:
    std::vector<std::string> Tokens(std::string line) {
        std::int32_t count = -1;
        char** const tokens = tokenizer.Parse(line.data(), &count);
        return {tokens, tokens + count};
    }

    TELNET::LineTokenizer tokenizer;
};

TEST_F(LineTokenizer, SeparatesWordsSingleCharactersAQuotedWordAndAComment) {
    EXPECT_THAT(Tokens("set a=(1, \"x y\") # comment"),
                ElementsAre("set", "a", "=", "(", "1", ",", "x y", ")"));
}

TEST_F(LineTokenizer, ReturnsTheTokenArrayOfTheProcess) {
    char line[] = "a b";
    std::int32_t count = 0;

    EXPECT_EQ(g_tokens.data(), tokenizer.Parse(line, &count));
    EXPECT_EQ(2, count);
}

class LineTokenizerWithoutTokens : public testing::TestWithParam<const char*> {};

TEST_P(LineTokenizerWithoutTokens, ReturnsNullAndCountsZero) {
    TELNET::LineTokenizer tokenizer;
    std::string line = GetParam();
    std::int32_t count = -1;

    EXPECT_EQ(nullptr, tokenizer.Parse(line.data(), &count));
    EXPECT_EQ(0, count);
}

INSTANTIATE_TEST_SUITE_P(, LineTokenizerWithoutTokens,
                         testing::Values("", " \t\r\n", "#", "# a b", "  #a"));

TEST_F(LineTokenizer, TreatsBlanksTabsAndLineEndsAsSeparators) {
    EXPECT_THAT(Tokens(" a\tb\nc\rd \t\r\n e\r\n"), ElementsAre("a", "b", "c", "d", "e"));
}

TEST_F(LineTokenizer, TreatsOtherControlCharactersAsPartsOfWords) {
    EXPECT_THAT(Tokens("a\x01\x0B"
                       "b c\x7F"),
                ElementsAre("a\x01\x0B"
                            "b",
                            "c\x7F"));
}

TEST_F(LineTokenizer, TreatsBytesAbove7FAsPartsOfWords) {
    EXPECT_THAT(Tokens("\x80\xE9t\xE9 \xFF=\xA0"),
                ElementsAre("\x80\xE9t\xE9", "\xFF", "=", "\xA0"));
}

TEST_F(LineTokenizer, MakesEachSingleCharacterATokenOfItsOwn) {
    EXPECT_THAT(Tokens(",()=[]{}"), ElementsAre(",", "(", ")", "=", "[", "]", "{", "}"));
}

TEST_F(LineTokenizer, TreatsOtherPunctuationAsPartsOfWords) {
    EXPECT_THAT(Tokens("a;b:c.d<e>f'g'!%&*+-/?@\\^_`|~"),
                ElementsAre("a;b:c.d<e>f'g'!%&*+-/?@\\^_`|~"));
}

TEST_F(LineTokenizer, EndsAWordAtASingleCharacterAndKeepsBoth) {
    EXPECT_THAT(Tokens("a=b,c"), ElementsAre("a", "=", "b", ",", "c"));
}

TEST_F(LineTokenizer, SkipsBlanksBetweenSingleCharacters) {
    EXPECT_THAT(Tokens("( ) ,, ="), ElementsAre("(", ")", ",", ",", "="));
}

TEST_F(LineTokenizer, LeavesASingleCharacterBeforeAWordUnchangedInTheLine) {
    char line[] = "(a";
    std::int32_t count = 0;

    char** const tokens = tokenizer.Parse(line, &count);

    EXPECT_STREQ("(a", line);
    EXPECT_NE(line, tokens[0]);
    EXPECT_EQ(line + 1, tokens[1]);
}

TEST_F(LineTokenizer, OverwritesASingleCharacterAfterAWord) {
    char line[] = "a(";
    std::int32_t count = 0;

    char** const tokens = tokenizer.Parse(line, &count);

    EXPECT_EQ('\0', line[1]);
    EXPECT_EQ(line, tokens[0]);
    EXPECT_STREQ("(", tokens[1]);
}

TEST_F(LineTokenizer, EndsAtACommentAfterABlank) {
    EXPECT_THAT(Tokens("a b #c d"), ElementsAre("a", "b"));
}

TEST_F(LineTokenizer, StopsAtANumberSignInAWordWithoutEndingTheWord) {
    EXPECT_THAT(Tokens("a bc#d e"), ElementsAre("a", "bc#d e"));
}

TEST_F(LineTokenizer, TreatsANumberSignAfterALeadingSingleCharacterAsAWord) {
    EXPECT_THAT(Tokens("=#x y"), ElementsAre("=", "#x y"));
}

TEST_F(LineTokenizer, TreatsANumberSignAfterAWordAndASingleCharacterAsAComment) {
    EXPECT_THAT(Tokens("a=#x y"), ElementsAre("a", "="));
}

TEST_F(LineTokenizer, TreatsANumberSignAfterASingleCharacterAndABlankAsAComment) {
    EXPECT_THAT(Tokens("= #x y"), ElementsAre("="));
}

TEST_F(LineTokenizer, KeepsBlanksAndSingleCharactersInsideQuotes) {
    EXPECT_THAT(Tokens("\"a (b), c\" d"), ElementsAre("a (b), c", "d"));
}

TEST_F(LineTokenizer, StopsAtANumberSignInAQuotedWord) {
    EXPECT_THAT(Tokens("\"a#b\" c"), ElementsAre("a#b\" c"));
}

TEST_F(LineTokenizer, KeepsANumberSignInAQuotedWordAfterALeadingSingleCharacter) {
    EXPECT_THAT(Tokens("=\"a#b\" c"), ElementsAre("=", "a#b", "c"));
}

TEST_F(LineTokenizer, StopsAtANumberSignInAQuotedWordAfterAWordAndASingleCharacter) {
    EXPECT_THAT(Tokens("x=\"a#b\" c"), ElementsAre("x", "=", "a#b\" c"));
}

TEST_F(LineTokenizer, ExtendsAnUnclosedQuotedWordToTheEnd) {
    EXPECT_THAT(Tokens("a \"b c"), ElementsAre("a", "b c"));
}

TEST_F(LineTokenizer, ExtendsAnUnclosedQuotedWordAfterASingleCharacterToTheEnd) {
    EXPECT_THAT(Tokens("=\"b c"), ElementsAre("=", "b c"));
}

TEST_F(LineTokenizer, TreatsAQuoteAtTheVeryEndAsAnEmptyWord) {
    EXPECT_THAT(Tokens("a \""), ElementsAre("a", ""));
}

TEST_F(LineTokenizer, KeepsEmptyQuotedWords) {
    EXPECT_THAT(Tokens("\"\" =\"\" x"), ElementsAre("", "=", "", "x"));
}

TEST_F(LineTokenizer, ContinuesRightAfterAClosingQuote) {
    EXPECT_THAT(Tokens("\"a\"b\"c\"=\"d\"e"), ElementsAre("a", "b\"c\"", "=", "d", "e"));
}

TEST_F(LineTokenizer, TreatsAQuoteInsideAWordAsPartOfIt) {
    EXPECT_THAT(Tokens("a\"b c\"d"), ElementsAre("a\"b", "c\"d"));
}

TEST_F(LineTokenizer, StopsAt512Words) {
    std::string line;
    for (int i = 0; i < 600; ++i) line += "w ";

    EXPECT_THAT(Tokens(line), testing::AllOf(SizeIs(512), Each("w")));
}

TEST_F(LineTokenizer, StopsAt512SingleCharacters) {
    EXPECT_THAT(Tokens(std::string(600, '(')), testing::AllOf(SizeIs(512), Each("(")));
}

TEST_F(LineTokenizer, IgnoresAWordAfter512SingleCharacters) {
    EXPECT_THAT(Tokens(std::string(512, '(') + "word"), testing::AllOf(SizeIs(512), Each("(")));
}

TEST_F(LineTokenizer, IgnoresASingleCharacterAfterAWordThatIsToken512) {
    EXPECT_THAT(Tokens(std::string(511, '(') + "word)").back(), "word");
}

TEST_F(LineTokenizer, OverwritesTheTokensOfThePreviousLine) {
    (void)Tokens("one two");

    (void)Tokens("=");

    EXPECT_STREQ("=", g_tokens[0]);
}

class OpenTokenizer : public TELNET::LineTokenizer {
public:
    using LineTokenizer::buffer;
    using LineTokenizer::classes;
    using LineTokenizer::kEnd;
    using LineTokenizer::kSeparator;
    using LineTokenizer::kSingle;
    using LineTokenizer::kWord;
    using LineTokenizer::oneChar;
    using LineTokenizer::ownsBuffer;
    using LineTokenizer::quote;
    using LineTokenizer::reserved;
};

TEST(LineTokenizerTables, HoldNothingButTheNamedClasses) {
    const OpenTokenizer tokenizer;

    std::string byClass[4];
    for (std::size_t i = 0; i < 256; ++i) {
        byClass[static_cast<std::size_t>(tokenizer.classes[i])] += static_cast<char>(i);
    }

    EXPECT_EQ(std::string("\0#", 2), byClass[OpenTokenizer::kEnd]);
    EXPECT_EQ("\t\n\r ", byClass[OpenTokenizer::kSeparator]);
    EXPECT_EQ("(),=[]{}", byClass[OpenTokenizer::kSingle]);
    EXPECT_THAT(byClass[OpenTokenizer::kWord], SizeIs(256 - 2 - 4 - 8));
}

TEST(LineTokenizerTables, HoldEveryCharacterAsAText) {
    const OpenTokenizer tokenizer;

    for (std::size_t i = 0; i < 256; ++i) {
        ASSERT_EQ(static_cast<char>(i), tokenizer.oneChar[i][0]);
        ASSERT_EQ('\0', tokenizer.oneChar[i][1]);
    }
}

TEST(LineTokenizerFields, StartEmpty) {
    const OpenTokenizer tokenizer;

    EXPECT_FALSE(tokenizer.ownsBuffer);
    EXPECT_EQ(nullptr, tokenizer.buffer);
    EXPECT_EQ(0, tokenizer.reserved);
    EXPECT_EQ('"', tokenizer.quote);
}

TEST(LineTokenizerFields, LieInOrder) {
    const OpenTokenizer tokenizer;

    const std::vector<const void*> places{&tokenizer.ownsBuffer, &tokenizer.buffer,
                                          &tokenizer.reserved,   &tokenizer.classes,
                                          &tokenizer.oneChar,    &tokenizer.quote};

    EXPECT_THAT(places, testing::WhenSorted(testing::ElementsAreArray(places)));
    EXPECT_EQ(1024u, sizeof(tokenizer.classes));
    EXPECT_EQ(512u, sizeof(tokenizer.oneChar));
}

TEST(LineTokenizerBuffer, IsFreedWhenOwned) {
    const CountsAround counts([&] {
        OpenTokenizer tokenizer;
        tokenizer.buffer = static_cast<char*>(std::malloc(100));
        tokenizer.ownsBuffer = true;
    });

    EXPECT_EQ(counts.before, counts.after);
}

TEST(LineTokenizerBuffer, IsLeftAloneWhenNotOwned) {
    char notOfTheHeap = 'x';
    {
        OpenTokenizer tokenizer;
        tokenizer.buffer = &notOfTheHeap;
    }

    EXPECT_EQ('x', notOfTheHeap);
}

// A model of the tokenizer that leaves the line as it is. A token that the tokenizer does not end
// with a zero byte is always the last one and extends to the end of the line.
class Model {
public:
    explicit Model(std::string_view line) : line_(line) {}

    std::vector<std::string> Tokens() {
        while (!done_ && tokens_.size() < 512) Item();
        return tokens_;
    }

private:
    static constexpr std::string_view kSeparators = " \t\n\r";
    static constexpr std::string_view kSingles = ",()=[]{}";

    [[nodiscard]] bool At(std::string_view characters) const {
        return at_ < line_.size() && characters.find(line_[at_]) != std::string_view::npos;
    }

    void Add(std::string_view token) {
        if (tokens_.size() < 512) tokens_.emplace_back(token);
    }

    // Takes everything up to one of `ends`, steps past that character and returns it. When there is
    // none, or it is "#", the rest of the line is the last token and the result is zero.
    char Take(std::string_view ends) {
        const std::size_t end = line_.find_first_of(ends, at_);
        if (end == std::string_view::npos || line_[end] == '#') {
            Add(line_.substr(at_));
            done_ = true;
            return '\0';
        }
        Add(line_.substr(at_, end - at_));
        at_ = end + 1;
        return line_[end];
    }

    void Item() {
        while (At(kSeparators)) ++at_;
        if (at_ == line_.size() || At("#")) {
            done_ = true;
        } else if (At("\"")) {
            ++at_;
            (void)Take("\"#");
        } else {
            SinglesAndWord();
        }
    }

    void SinglesAndWord() {
        for (; At(kSingles); ++at_) Add(line_.substr(at_, 1));
        if (at_ == line_.size() || At(kSeparators)) return;
        if (At("\"")) {
            ++at_;
            (void)Take("\"");
            return;
        }
        const char end = Take(" \t\n\r,()=[]{}#");
        if (end != '\0' && kSingles.find(end) != std::string_view::npos) Add({&end, 1});
    }

    std::string_view line_;
    std::size_t at_ = 0;
    bool done_ = false;
    std::vector<std::string> tokens_;
};

std::string RandomLine(std::mt19937& random, std::size_t longest, std::string_view characters) {
    std::string line(std::uniform_int_distribution<std::size_t>(0, longest)(random), '\0');
    std::uniform_int_distribution<std::size_t> pick(0, characters.size() - 1);
    for (char& character : line) character = characters[pick(random)];
    return line;
}

TEST_F(LineTokenizer, AgreesWithTheModelOnRandomShortLines) {
    std::mt19937 random(20'240'608);
    for (int round = 0; round < 20'000; ++round) {
        const std::string line = RandomLine(random, 30, "abc\xE9   \t\r\n\"\"\"##,()=[]{}");

        ASSERT_EQ(Model(line).Tokens(), Tokens(line)) << testing::PrintToString(line);
    }
}

TEST_F(LineTokenizer, AgreesWithTheModelOnRandomLongLines) {
    std::mt19937 random(20'240'609);
    for (int round = 0; round < 500; ++round) {
        const std::string line = RandomLine(random, 2047, "ab  ,(=\"\t");

        ASSERT_EQ(Model(line).Tokens(), Tokens(line)) << testing::PrintToString(line);
    }
}

}  // namespace
