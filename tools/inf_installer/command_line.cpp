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
    L"  -i \"<inf>\"     add the package to the driver store and install it on the devices "
    L"present\n"
    L"  -d \"<inf>\"     remove every published copy of exactly this package\n"
    L"  --log <file>   also append every message to this file\n"
    L"  --dry-run      only tell what would be done\n"
    L"  --help         show this text\n"
    L"\n"
    L"It ends with 0 when it is done, 1 when it was called wrongly, 2 when the INF file is missing "
    L"or\n"
    L"unreadable, 3 when administrator rights are missing, 4 when Windows refused, and 10 when it "
    L"is\n"
    L"done but Windows has to be restarted.";

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

// The end of the first path in `text` whose last component is `name`; kNowhere when there is none.
std::size_t EndOfPathTo(std::wstring_view text, std::wstring_view name) {
    for (std::size_t start = 0; start < text.size(); ++start) {
        const bool startsComponent = start == 0 || FileNameOf(text.substr(0, start)).empty();
        if (startsComponent && StartsWithWord(text.substr(start), name)) return start + name.size();
    }
    return kNowhere;
}

// The length of the program in front of the arguments. An unquoted path is told from the arguments
// by what the program is known to be: its full path, or at least its file name where it was started
// through another spelling of its folder. Only a program started by a name unlike its own, such as
// a short 8.3 name, is taken to end at the first blank.
std::size_t LengthOfProgram(std::wstring_view commandLine, std::wstring_view programPath) {
    if (commandLine.starts_with(L'"')) {
        const std::size_t quote = commandLine.find(L'"', 1);
        return quote == kNowhere ? commandLine.size() : quote + 1;
    }
    if (StartsWithWord(commandLine, programPath)) return programPath.size();

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
    std::wstring text;
    bool quoted = false;     // it starts with a quote, so it is no option
    bool terminated = true;  // false when its last quote has no partner
};

class Words {
public:
    explicit Words(std::wstring_view text) : rest_(text) {}

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
            result_.problem = L"Nothing was asked for.";
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
            Complain(L"Only one of -i, -d and --help can be asked for, and only once.", L"");
        }
        result_.request.action = action;
    }

    void TakeOperand(const Word& option, std::wstring& value) {
        const std::optional<Word> word = words_.Next();
        if (!word || word->text.empty() || (!word->quoted && word->text.starts_with(L'-'))) {
            Complain(L"A path is missing behind ", option.text);
        } else if (!word->terminated) {
            Complain(L"The closing quote is missing behind ", word->text);
        } else {
            value = word->text;
        }
    }

    // The first problem is the one to tell: what follows may only be its echo.
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
