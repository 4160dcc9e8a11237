#include "inf_installer/command_line.h"

#include <optional>

#include "common/paths.h"
#include "common/text.h"

namespace installer {

using tools::EqualIgnoringCase;
using tools::FileNameOf;

const std::wstring_view kUsage =
    L"Installs or removes one driver package.\n"
    L"\n"
    L"  -i \"<inf>\"     add the package to the driver store and install it on present devices\n"
    L"  -d \"<inf>\"     remove every published copy of exactly this package\n"
    L"  --log <file>   also append every message to this file\n"
    L"  --dry-run      print what would be done, and do nothing\n"
    L"  --help         show this text\n"
    L"\n"
    L"Exit codes: 0 done, 1 wrong usage, 2 INF file missing or unreadable, 3 no administrator\n"
    L"rights, 4 refused by Windows, 10 done but Windows has to be restarted.";

namespace {

constexpr auto kNowhere = std::wstring_view::npos;
constexpr std::wstring_view kBlanks = L" \t";

bool StartsAtBlankOrEnd(std::wstring_view text) {
    return text.empty() || kBlanks.find(text.front()) != kNowhere;
}

bool StartsWithWord(std::wstring_view text, std::wstring_view word) {
    return !word.empty() && EqualIgnoringCase(text.substr(0, word.size()), word) &&
           StartsAtBlankOrEnd(text.substr(word.size()));
}

std::wstring_view WithoutExtension(std::wstring_view name) {
    return name.substr(0, name.rfind(L'.'));
}

// The end of the first path in `text` whose last component is `name`, followed by a blank or by the
// end of the text. kNowhere when there is none.
std::size_t EndOfPathTo(std::wstring_view text, std::wstring_view name) {
    for (std::size_t start = 0; start < text.size(); ++start) {
        const bool startsComponent = start == 0 || FileNameOf(text.substr(0, start)).empty();
        if (startsComponent && StartsWithWord(text.substr(start), name)) return start + name.size();
    }
    return kNowhere;
}

// The length of the program's path at the start of the command line. An unquoted path may contain
// blanks. It is recognised by what is known about the program: its full path or, when it was
// started through another spelling of its folder, its file name with or without the extension. Only
// a program that was started by another name, such as a short 8.3 name, ends at the first blank.
std::size_t LengthOfProgram(std::wstring_view commandLine, std::wstring_view programPath) {
    if (commandLine.starts_with(L'"')) {
        const std::size_t quote = commandLine.find(L'"', 1);
        return quote == kNowhere ? commandLine.size() : quote + 1;
    }
    if (StartsWithWord(commandLine, programPath)) return programPath.size();

    // The INF path may contain the program's name too, so the search ends at the first quote.
    const std::wstring_view unquoted = commandLine.substr(0, commandLine.find(L'"'));
    const std::wstring_view fileName = FileNameOf(programPath);
    for (const std::wstring_view name : {fileName, WithoutExtension(fileName)}) {
        const std::size_t end = EndOfPathTo(unquoted, name);
        if (end != kNowhere) return end;
    }
    const std::size_t blank = commandLine.find_first_of(kBlanks);
    return blank == kNowhere ? commandLine.size() : blank;
}

struct Word {
    std::wstring text;       // without its quotes
    bool quoted = false;     // it starts with a quote, so it is not an option
    bool terminated = true;  // false when its last quote is not closed
};

// Splits the arguments at blanks that are outside quotes. Backslashes escape nothing.
class Words {
public:
    explicit Words(std::wstring_view text) : rest_(text) {}

    // Empty after the last word.
    std::optional<Word> Next() {
        const std::size_t start = rest_.find_first_not_of(kBlanks);
        if (start == kNowhere) return std::nullopt;
        rest_.remove_prefix(start);

        Word word;
        word.quoted = rest_.front() == L'"';
        bool inQuotes = false;
        while (!rest_.empty() && (inQuotes || !StartsAtBlankOrEnd(rest_))) {
            if (rest_.front() == L'"') {
                inQuotes = !inQuotes;
            } else {
                word.text += rest_.front();
            }
            rest_.remove_prefix(1);
        }
        word.terminated = !inQuotes;
        return word;
    }

private:
    std::wstring_view rest_;
};

// Reads the words of one command line. The first problem ends the reading.
class Parser {
public:
    explicit Parser(std::wstring_view arguments) : words_(arguments) {}

    ParsedCommandLine Parse() {
        while (result_.problem.empty()) {
            const std::optional<Word> word = words_.Next();
            if (!word) break;
            Take(*word);
        }
        if (result_.problem.empty() && result_.request.action == Request::Action::kNone) {
            result_.problem = L"One of -i, -d and --help is required.";
        }
        return std::move(result_);
    }

private:
    void Take(const Word& word) {
        if (word.quoted) {
            Complain(L"Not an option: ", word.text);
        } else if (word.text == L"-i") {
            TakeAction(word, Request::Action::kInstall);
        } else if (word.text == L"-d") {
            TakeAction(word, Request::Action::kRemove);
        } else if (word.text == L"--log") {
            TakeOperand(word, result_.request.logPath);
        } else if (word.text == L"--dry-run") {
            result_.request.dryRun = true;
        } else if (word.text == L"--help") {
            Choose(Request::Action::kHelp);
        } else {
            Complain(L"Not an option: ", word.text);
        }
    }

    void TakeAction(const Word& option, Request::Action action) {
        Choose(action);
        TakeOperand(option, result_.request.infPath);
    }

    void Choose(Request::Action action) {
        if (result_.request.action != Request::Action::kNone) {
            Complain(L"Only one of -i, -d and --help may be given, and only once.", L"");
        }
        result_.request.action = action;
    }

    void TakeOperand(const Word& option, std::wstring& value) {
        // An unquoted word that starts like an option is one: its path was forgotten.
        const std::optional<Word> word = words_.Next();
        if (!word || word->text.empty() || (!word->quoted && word->text.starts_with(L'-'))) {
            Complain(L"A path is missing after ", option.text);
        } else if (!word->terminated) {
            Complain(L"The closing quote is missing after ", word->text);
        } else {
            value = word->text;
        }
    }

    // Only the first problem is reported, because later ones may be consequences of it.
    void Complain(std::wstring_view what, std::wstring_view about) {
        if (result_.problem.empty()) result_.problem = std::wstring(what).append(about);
    }

    Words words_;
    ParsedCommandLine result_;
};

}  // namespace

ParsedCommandLine ParseCommandLine(std::wstring_view commandLine, std::wstring_view programPath) {
    return Parser(commandLine.substr(LengthOfProgram(commandLine, programPath))).Parse();
}

}  // namespace installer
