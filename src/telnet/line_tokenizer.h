#pragma once

#include <array>
#include <cstdint>

namespace TELNET {

// Where every tokenizer of the process leaves its tokens. Not locked: the tokens of one line are
// good until the next line is parsed, on whichever thread.
inline std::array<char*, 512> g_tokens{};

// Cuts a command line into words and single characters. Blanks, tabs and line ends separate words,
// each of , ( ) = [ ] { } is a token of its own, double quotes keep blanks inside a word, and
// "#" begins a comment. Made for 7-bit text; bytes above 0x7F are ordinary characters of a word.
class LineTokenizer {
public:
    LineTokenizer();
    LineTokenizer(const LineTokenizer&) = delete;
    LineTokenizer& operator=(const LineTokenizer&) = delete;
    ~LineTokenizer();

    // Cuts `line` in place, up to 512 tokens, and stores their number through `count`. Returns
    // g_tokens, or null when there is no token. The tokens point into `line` and into this object.
    char** Parse(char* line, std::int32_t* count);

protected:
    enum Class : std::int32_t {
        kWord = 0,       // part of a word
        kSingle = 1,     // a token of its own
        kSeparator = 2,  // between tokens
        kEnd = 3,        // the end of what is looked at
    };

    bool ownsBuffer = false;
    char* buffer = nullptr;  // of the C heap; freed at the end when `ownsBuffer` is set
    std::int32_t reserved = 0;
    std::array<std::int32_t, 256> classes{};         // by character
    std::array<std::array<char, 2>, 256> oneChar{};  // each character as a text of its own
    char quote = '"';

private:
    class Scan;
};

}  // namespace TELNET
