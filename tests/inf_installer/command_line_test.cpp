#include "inf_installer/command_line.h"

#include <gtest/gtest.h>

namespace {

using installer::ParseCommandLine;
using installer::ParsedCommandLine;
using installer::Request;

constexpr const wchar_t* kProgram = L"C:\\Program Files\\Host App\\files\\inf\\InfInstallerx64.exe";

ParsedCommandLine Parse(const std::wstring& commandLine) {
    return ParseCommandLine(commandLine, kProgram);
}

struct Spelling {
    const char* name;
    const wchar_t* commandLine;
};

std::string NameOf(const testing::TestParamInfo<Spelling>& row) {
    return row.param.name;
}

class ParseCommandLineStartedAs : public testing::TestWithParam<Spelling> {};

TEST_P(ParseCommandLineStartedAs, ReadsTheSwitchAndThePathAfterTheProgram) {
    const ParsedCommandLine parsed = Parse(GetParam().commandLine);

    EXPECT_EQ(L"", parsed.problem);
    EXPECT_EQ(Request::Action::kInstall, parsed.request.action);
    EXPECT_EQ(L"C:\\a b\\usbaapl64.inf", parsed.request.infPath);
}

INSTANTIATE_TEST_SUITE_P(
    , ParseCommandLineStartedAs,
    testing::Values(
        Spelling{"TheSetupFlowsDo",
                 L"C:\\Program Files\\Host App\\files\\inf\\InfInstallerx64.exe -i \"C:\\a "
                 L"b\\usbaapl64.inf\""},
        Spelling{"InAnotherCase",
                 L"c:\\program files\\HOST APP\\files\\inf\\infinstallerx64.EXE -i \"C:\\a "
                 L"b\\usbaapl64.inf\""},
        Spelling{"WithoutExtension",
                 L"C:\\Program Files\\Host App\\files\\inf\\InfInstallerx64 -i \"C:\\a "
                 L"b\\usbaapl64.inf\""},
        Spelling{"ThroughAShortFolderName",
                 L"C:\\PROGRA~1\\HOSTAP~1\\files\\inf\\InfInstallerx64.exe -i \"C:\\a "
                 L"b\\usbaapl64.inf\""},
        Spelling{"ThroughARelativePathWithBlanks",
                 L"..\\Host App\\files/inf/InfInstallerx64.exe -i \"C:\\a b\\usbaapl64.inf\""},
        Spelling{"FromItsOwnFolder", L"InfInstallerx64 -i \"C:\\a b\\usbaapl64.inf\""},
        Spelling{"ByItsShortName", L"INFINS~1.EXE -i \"C:\\a b\\usbaapl64.inf\""},
        Spelling{"Quoted",
                 L"\"C:\\Program Files\\Host App\\files\\inf\\InfInstallerx64.exe\" -i \"C:\\a "
                 L"b\\usbaapl64.inf\""},
        Spelling{"QuotedAndByAnotherName", L"\"D:\\any name.exe\" -i \"C:\\a b\\usbaapl64.inf\""},
        Spelling{"WithMoreBlanks", L"InfInstallerx64.exe  \t -i   \"C:\\a b\\usbaapl64.inf\" "},
        Spelling{"WithQuotesInsideThePath", L"InfInstallerx64.exe -i C:\\\"a b\"\\usbaapl64.inf"}),
    NameOf);

TEST(ParseCommandLine, IsNotMisledByAFolderThatIsNamedLikeASwitch) {
    const std::wstring program = L"C:\\odd -i folder\\InfInstallerx64.exe";

    const ParsedCommandLine parsed = ParseCommandLine(program + L" -d \"C:\\x.inf\"", program);

    EXPECT_EQ(L"", parsed.problem);
    EXPECT_EQ(Request::Action::kRemove, parsed.request.action);
    EXPECT_EQ(L"C:\\x.inf", parsed.request.infPath);
}

TEST(ParseCommandLine, IsNotMisledByAFolderThatIsNamedLikeTheProgram) {
    const std::wstring program = L"C:\\InfInstallerx64.exe copy\\InfInstallerx64.exe";

    const ParsedCommandLine parsed = ParseCommandLine(program + L" -i \"C:\\x.inf\"", program);

    EXPECT_EQ(L"", parsed.problem);
    EXPECT_EQ(L"C:\\x.inf", parsed.request.infPath);
}

TEST(ParseCommandLine, IsNotMisledByAnInfPathThatContainsTheNameOfTheProgram) {
    const ParsedCommandLine parsed =
        ParseCommandLine(L"short~1 -i \"C:\\InfInstallerx64.exe -d \\x.inf\"", kProgram);

    EXPECT_EQ(L"", parsed.problem);
    EXPECT_EQ(L"C:\\InfInstallerx64.exe -d \\x.inf", parsed.request.infPath);
}

TEST(ParseCommandLine, TakesBackslashesLiterallyEvenBeforeAQuote) {
    const ParsedCommandLine parsed = Parse(L"InfInstallerx64.exe -i \"C:\\folder\\\" --dry-run");

    EXPECT_EQ(L"", parsed.problem);
    EXPECT_EQ(L"C:\\folder\\", parsed.request.infPath);
    EXPECT_TRUE(parsed.request.dryRun);
}

TEST(ParseCommandLine, AcceptsAPathOfAnyCharacters) {
    const ParsedCommandLine parsed =
        Parse(L"InfInstallerx64.exe -d \"C:\\%TEMP% \x00FC\x4F60\\a&b.inf\"");

    EXPECT_EQ(Request::Action::kRemove, parsed.request.action);
    EXPECT_EQ(L"C:\\%TEMP% \x00FC\x4F60\\a&b.inf", parsed.request.infPath);
}

TEST(ParseCommandLine, AcceptsAQuotedPathThatLooksLikeASwitch) {
    EXPECT_EQ(L"-d", Parse(L"InfInstallerx64.exe -i \"-d\"").request.infPath);
}

TEST(ParseCommandLine, AcceptsTheOptionsInAnyOrder) {
    const ParsedCommandLine parsed =
        Parse(L"InfInstallerx64.exe --log \"C:\\l g.txt\" --dry-run -i x.inf");

    EXPECT_EQ(L"", parsed.problem);
    EXPECT_EQ(L"C:\\l g.txt", parsed.request.logPath);
    EXPECT_TRUE(parsed.request.dryRun);
    EXPECT_EQ(L"x.inf", parsed.request.infPath);
}

TEST(ParseCommandLine, LeavesLogAndDryRunOffByDefault) {
    const ParsedCommandLine parsed = Parse(L"InfInstallerx64.exe -i x.inf");

    EXPECT_EQ(L"", parsed.request.logPath);
    EXPECT_FALSE(parsed.request.dryRun);
}

TEST(ParseCommandLine, AcceptsTheCallForHelp) {
    const ParsedCommandLine parsed = Parse(L"InfInstallerx64.exe --help");

    EXPECT_EQ(L"", parsed.problem);
    EXPECT_EQ(Request::Action::kHelp, parsed.request.action);
}

TEST(ParseCommandLine, ReturnsTheLogThatWasNamedBeforeTheProblem) {
    EXPECT_EQ(L"l.txt", Parse(L"InfInstallerx64.exe --log l.txt -x").request.logPath);
}

struct Mistake {
    const char* name;
    const wchar_t* commandLine;
    const wchar_t* problem;
};

class ParseCommandLineRefuses : public testing::TestWithParam<Mistake> {};

TEST_P(ParseCommandLineRefuses, AndSaysWhy) {
    EXPECT_EQ(GetParam().problem, Parse(GetParam().commandLine).problem);
}

INSTANTIATE_TEST_SUITE_P(
    , ParseCommandLineRefuses,
    testing::Values(
        Mistake{"AnEmptyLine", L"", L"One of -i, -d and --help is required."},
        Mistake{"TheProgramAlone", L"InfInstallerx64.exe",
                L"One of -i, -d and --help is required."},
        Mistake{"TheProgramAloneWithABlankInIt",
                L"C:\\Program Files\\Host App\\files\\inf\\InfInstallerx64.exe",
                L"One of -i, -d and --help is required."},
        Mistake{"AnUnterminatedProgram", L"\"InfInstallerx64.exe -i x.inf",
                L"One of -i, -d and --help is required."},
        Mistake{"OnlyADryRun", L"InfInstallerx64.exe --dry-run",
                L"One of -i, -d and --help is required."},
        Mistake{"ASwitchWithoutPath", L"InfInstallerx64.exe -i", L"A path is missing after -i"},
        Mistake{"ASwitchWithAnEmptyPath", L"InfInstallerx64.exe -d \"\"",
                L"A path is missing after -d"},
        Mistake{"ASwitchBeforeAnOption", L"InfInstallerx64.exe -i --dry-run",
                L"A path is missing after -i"},
        Mistake{"ALogWithoutPath", L"InfInstallerx64.exe -i x.inf --log",
                L"A path is missing after --log"},
        Mistake{"AnUnterminatedPath", L"InfInstallerx64.exe -i \"C:\\x.inf",
                L"The closing quote is missing after C:\\x.inf"},
        Mistake{"TwoActions", L"InfInstallerx64.exe -i x.inf -d x.inf",
                L"Only one of -i, -d and --help may be given, and only once."},
        Mistake{"TwoActionsTheSecondWithoutPath", L"InfInstallerx64.exe -i x.inf -d",
                L"Only one of -i, -d and --help may be given, and only once."},
        Mistake{"OneActionTwice", L"InfInstallerx64.exe -i x.inf -i y.inf",
                L"Only one of -i, -d and --help may be given, and only once."},
        Mistake{"AnUnquotedPathWithABlank", L"InfInstallerx64.exe -i C:\\a b\\x.inf",
                L"Not an option: b\\x.inf"},
        Mistake{"AnUnknownOption", L"InfInstallerx64.exe --force -i x.inf",
                L"Not an option: --force"},
        Mistake{"ASwitchInCapitals", L"InfInstallerx64.exe -I x.inf", L"Not an option: -I"},
        Mistake{"AQuotedSwitch", L"InfInstallerx64.exe \"-i\" x.inf", L"Not an option: -i"}),
    [](const auto& row) { return row.param.name; });

}  // namespace
