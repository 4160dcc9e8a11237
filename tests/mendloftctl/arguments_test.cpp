#include "mendloftctl/arguments.h"

#include <gmock/gmock.h>

namespace {

using ctl::Arguments;
using ctl::ParseArguments;
using testing::HasSubstr;
using testing::StrEq;

using Words = std::vector<std::string>;

struct CallRow {
    const char* name;
    Words words;
    const char* command;
    const char* function;
    std::int32_t argument;
};

class EveryCommand : public testing::TestWithParam<CallRow> {};

TEST_P(EveryCommand, ChoosesItsFunctionAndArgument) {
    const ctl::ParsedArguments parsed = ParseArguments(GetParam().words);

    ASSERT_EQ("", parsed.problem);
    EXPECT_EQ(GetParam().command, parsed.arguments.command);
    EXPECT_THAT(parsed.arguments.function->name, StrEq(GetParam().function));
    EXPECT_EQ(GetParam().argument, parsed.arguments.argument);
}

INSTANTIATE_TEST_SUITE_P(
    ParseArguments, EveryCommand,
    testing::Values(
        CallRow{"Repair", {"repair"}, "repair", "MendloftFolder", 1},
        CallRow{"Remove", {"remove"}, "remove", "MendloftFolder", 0},
        CallRow{"Usb", {"setup", "usb"}, "setup usb", "SetUpUSBDriver", 1},
        CallRow{
            "UsbRemoval", {"setup", "usb", "--remove"}, "setup usb --remove", "SetUpUSBDriver", 0},
        CallRow{"Net", {"setup", "net"}, "setup net", "SetUpNetDriver", 1},
        CallRow{"Kis", {"setup", "kis"}, "setup kis", "SetUpKisDriver", 1},
        CallRow{"Rsm", {"setup", "rsm"}, "setup rsm", "SetUpRSMDriver", 1},
        CallRow{
            "AppleUsb", {"setup", "appleusb"}, "setup appleusb", "SetUpAppleUSBDeviceDriver", 1},
        CallRow{"RemoveOptionFirst",
                {"setup", "--remove", "rsm"},
                "setup rsm --remove",
                "SetUpRSMDriver",
                0},
        CallRow{"Port", {"port", "27015"}, "port 27015", "AMDPortTest", 27015}),
    [](const auto& test) { return test.param.name; });

TEST(ParseArguments, AcceptsDiagnoseWithoutAFunction) {
    const ctl::ParsedArguments parsed = ParseArguments({"diagnose"});

    EXPECT_EQ("diagnose", parsed.arguments.command);
    EXPECT_EQ(nullptr, parsed.arguments.function);
}

TEST(ParseArguments, LeavesOptionsOffByDefault) {
    const Arguments arguments = ParseArguments({"repair"}).arguments;

    EXPECT_FALSE(arguments.json || arguments.trace || arguments.dryRun || arguments.isolated);
    EXPECT_EQ(L"", arguments.library);
    EXPECT_EQ(std::chrono::seconds(300), arguments.timeout);
}

TEST(ParseArguments, AcceptsOptionsAfterTheCommand) {
    const Arguments arguments =
        ParseArguments({"setup", "kis", "--json", "--trace", "--dry-run", "--isolated", "--timeout",
                        "7", "--library", "C:\\a b\\c.dll"})
            .arguments;

    EXPECT_TRUE(arguments.json && arguments.trace && arguments.dryRun && arguments.isolated);
    EXPECT_EQ(std::chrono::seconds(7), arguments.timeout);
    EXPECT_EQ(L"C:\\a b\\c.dll", arguments.library);
}

TEST(ParseArguments, AcceptsOptionsBeforeTheCommand) {
    EXPECT_TRUE(ParseArguments({"--json", "repair"}).arguments.json);
}

TEST(ParseArguments, ReadsPathsAsUtf8) {
    EXPECT_EQ(
        L"\u00e9\u4e2d.dll",
        ParseArguments({"repair", "--library", "\xC3\xA9\xE4\xB8\xAD.dll"}).arguments.library);
}

TEST(ParseArguments, OffersHelp) {
    EXPECT_THAT(ParseArguments({"--help"}).help, HasSubstr("diagnose"));
}

struct ProblemRow {
    const char* name;
    Words words;
    const char* problem;  // a part of it; the wording around a name or a number is CLI11's
};

class EveryMistake : public testing::TestWithParam<ProblemRow> {};

TEST_P(EveryMistake, IsReported) {
    EXPECT_THAT(ParseArguments(GetParam().words).problem, HasSubstr(GetParam().problem));
}

INSTANTIATE_TEST_SUITE_P(
    ParseArguments, EveryMistake,
    testing::Values(
        ProblemRow{"Nothing", {}, "Name a command"},
        ProblemRow{"OnlyAnOption", {"--json"}, "Name a command"},
        ProblemRow{"UnknownCommand", {"mend"}, "mend"},
        ProblemRow{"TwoCommands", {"repair", "remove"}, "remove"},
        ProblemRow{"SetupOfNothing", {"setup"}, "usb, net, kis, rsm or appleusb"},
        ProblemRow{"SetupOfSomethingElse", {"setup", "printer"}, "printer"},
        ProblemRow{"SetupOfTwo", {"setup", "usb", "net"}, "net"},
        ProblemRow{"PortWithoutNumber", {"port"}, "number"},
        ProblemRow{"PortZero", {"port", "0"}, "65535"},
        ProblemRow{"PortTooHigh", {"port", "65536"}, "65535"},
        ProblemRow{"PortInWords", {"port", "http"}, "http"},
        ProblemRow{"RemovalOfAPort", {"port", "1", "--remove"}, "--remove"},
        ProblemRow{"TimeoutWithoutIsolation", {"repair", "--timeout", "5"}, "--isolated"},
        ProblemRow{"TimeoutOfNothing", {"repair", "--isolated", "--timeout", "0"}, "86400"},
        ProblemRow{"LibraryWithoutPath", {"repair", "--library"}, "--library"}),
    [](const auto& test) { return test.param.name; });

}  // namespace
