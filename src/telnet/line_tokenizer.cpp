#include "telnet/line_tokenizer.h"

#include <cstddef>
#include <cstdlib>
#include <string_view>

namespace TELNET {

// One pass over one line.
class LineTokenizer::Scan {
public:
    Scan(LineTokenizer& tokenizer, char* line) : tokenizer_(tokenizer), at_(line) {}

    [[nodiscard]] std::int32_t Count() const { return static_cast<std::int32_t>(count_); }
    [[nodiscard]] bool Done() const { return Is(kEnd) || Full(); }

    // Takes the next item: a quoted word, or single characters and the word after them.
    void TakeItem() {
        while (Is(kSeparator)) ++at_;
        if (Is(kEnd)) return;
        if (IsQuote()) {
            TakeQuoted();
            return;
        }
        while (Is(kSingle)) TakeSingle();
        // In "=#5" the "#" begins a word and not a comment, so a value can begin with it. The same
        // "#" ends the line, so the word is not terminated and its text is the rest of the line.
        // Only the zero byte counts as the end here.
        if (Is(kSeparator) || *at_ == '\0') return;
        TakeWord();
    }

private:
    [[nodiscard]] std::size_t Index() const { return static_cast<unsigned char>(*at_); }
    [[nodiscard]] bool Is(Class asked) const { return tokenizer_.classes[Index()] == asked; }
    [[nodiscard]] bool IsQuote() const { return *at_ == tokenizer_.quote; }
    [[nodiscard]] bool Full() const { return count_ == g_tokens.size(); }

    void Add(char* token) {
        if (!Full()) g_tokens[count_++] = token;
    }

    // Overwrites the current character and steps past it.
    void Replace(char character) { *at_++ = character; }

    void TakeSingle() {
        Add(tokenizer_.oneChar[Index()].data());
        ++at_;
    }

    // A quoted word at the beginning of an item. A "#" in it begins a comment, so no token follows.
    // The word is then not terminated, and its text is the rest of the line.
    void TakeQuoted() {
        ++at_;
        Add(at_);
        while (!Is(kEnd) && !IsQuote()) ++at_;
        if (IsQuote()) Replace('\0');
    }

    void TakeWord() {
        const bool quoted = IsQuote();
        if (quoted) ++at_;
        Add(at_);
        if (quoted) PassQuoted();
        while (Is(kWord)) ++at_;
        if (Is(kEnd)) return;
        char* const separator = at_;
        if (Is(kSingle)) {
            TakeSingle();
        } else {
            ++at_;
        }
        *separator = '\0';
    }

    // After single characters only the closing quote ends a quoted word, so that a list such as
    // ("a#b") can contain a "#". The quote becomes a blank, which ends the word like any other
    // blank.
    void PassQuoted() {
        while (!IsQuote() && *at_ != '\0') ++at_;
        if (IsQuote()) *at_ = ' ';
    }

    LineTokenizer& tokenizer_;
    char* at_;
    std::size_t count_ = 0;
};

LineTokenizer::LineTokenizer() {
    const auto classify = [this](std::string_view characters, Class value) {
        for (const char character : characters) {
            classes[static_cast<unsigned char>(character)] = value;
        }
    };
    classify({"\0#", 2}, kEnd);
    classify(" \t\n\r", kSeparator);
    classify(",()=[]{}", kSingle);
    for (std::size_t i = 0; i < oneChar.size(); ++i) oneChar[i] = {static_cast<char>(i), '\0'};
}

LineTokenizer::~LineTokenizer() {
    if (ownsBuffer) std::free(buffer);
}

char** LineTokenizer::Parse(char* line, std::int32_t* count) {
    Scan scan(*this, line);
    while (!scan.Done()) scan.TakeItem();
    *count = scan.Count();
    return *count == 0 ? nullptr : g_tokens.data();
}

}  // namespace TELNET
