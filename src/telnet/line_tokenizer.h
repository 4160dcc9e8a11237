#pragma once

#include <array>
#include <cstdint>

namespace TELNET {

// Where every tokenizer of the process stores its tokens. Not locked: the tokens of one line are
// valid until any thread parses the next line.
inline std::array<char*, 512> g_tokens{};

// Divides a command line into words and single characters. Blanks, tabs and line ends separate
// words. Each of , ( ) = [ ] { } is a token of its own. Blanks between double quotes belong to a
// word. "#" begins a comment. Meant for 7-bit text: bytes above 0x7F are part of a word.
//
// The members keep this order, and a test holds it: a release DLL has no symbols, so whoever reads
// a host's crash dump finds a member by its offset.
class LineTokenizer {
public:
    LineTokenizer();
    LineTokenizer(const LineTokenizer&) = delete;
    LineTokenizer& operator=(const LineTokenizer&) = delete;
    ~LineTokenizer();

    // Divides `line` in place into up to 512 tokens and stores their number in `count`. Returns
    // g_tokens, or null when there is no token. The tokens point into `line` and into this object.
    char** Parse(char* line, std::int32_t* count);

protected:
    enum Class : std::int32_t {
        kWord = 0,       // part of a word
        kSingle = 1,     // a token of its own
        kSeparator = 2,  // between tokens
        kEnd = 3,        // the end of the line, or the beginning of a comment
    };

    bool ownsBuffer = false;
    char* buffer = nullptr;     // for a derived class; freed on the C heap when `ownsBuffer` is set
    std::int32_t reserved = 0;  // spare; without it the members after it would move
    std::array<std::int32_t, 256> classes{};         // by character
    std::array<std::array<char, 2>, 256> oneChar{};  // each character as a text of its own
    char quote = '"';

private:
    class Scan;
};

}  // namespace TELNET
