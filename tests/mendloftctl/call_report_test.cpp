#include "mendloftctl/call_report.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>

namespace {

using ctl::CallOutcome;
using ctl::CallReport;
using ctl::ExitStatus;
using ctl::TraceLine;
using Json = nlohmann::ordered_json;
using testing::HasSubstr;
using Kind = CallOutcome::Kind;

CallReport UsbReport(const CallOutcome& outcome) {
    CallReport report;
    report.arguments.command = "setup usb";
    report.arguments.function = ctl::FindFunction("SetUpUSBDriver");
    report.arguments.argument = 1;
    report.library = L"C:\\Apps\\libmendloft.dll";
    report.outcome = outcome;
    return report;
}

CallOutcome Raised(std::string_view type, std::optional<std::int32_t> result = std::nullopt) {
    CallOutcome outcome{Kind::kRaised};
    std::copy(type.begin(), type.end(), outcome.exception.type.begin());
    outcome.exception.hasResult = result.has_value();
    outcome.exception.result = result.value_or(0);
    return outcome;
}

TEST(CallReport, StatesTheResultInOneLine) {
    EXPECT_EQ(
        "SetUpUSBDriver(1) returned -2: The installer tool is not in the folder files\\inf beside "
        "the library.\n",
        ToText(UsbReport({Kind::kReturned, -2})));
}

TEST(CallReport, IsAvailableAsJson) {
    const Json expected = Json::parse(R"({
        "command": "setup usb",
        "library": "C:\\Apps\\libmendloft.dll",
        "function": "SetUpUSBDriver",
        "argument": 1,
        "isolated": false,
        "code": -1,
        "success": false,
        "meaning": "No INF file of this driver package was found, neither installed nor unpacked from the driver archive.",
        "status": 12
    })");

    EXPECT_EQ(expected, ToJson(UsbReport({Kind::kReturned, -1})));
}

TEST(CallReport, IncludesTheTraceOfATracedCallInItsJson) {
    CallReport report = UsbReport({Kind::kReturned, 0});
    report.arguments.trace = true;
    report.lines = {{TraceLine::Channel::kDebuggerOutput, L"one"},
                    {TraceLine::Channel::kStandardOutput, L"\u00e9"}};

    EXPECT_EQ(Json::parse(R"([{"channel": "debugger output", "text": "one"},
                              {"channel": "standard output", "text": "é"}])"),
              ToJson(report)["trace"]);
}

TEST(CallReport, HasNoCodeInTheJsonOfACallWithoutAResult) {
    const Json json = ToJson(UsbReport({Kind::kTimeLimitPassed}));

    EXPECT_FALSE(json.contains("code"));
    EXPECT_FALSE(json["success"]);
    EXPECT_EQ(5, json["status"]);
    EXPECT_THAT(json["error"].get<std::string>(), HasSubstr("after 300 seconds"));
}

TEST(CallReport, DescribesAnExceptionInItsJson) {
    EXPECT_EQ(Json::parse(R"({"type": "_com_error", "hresult": "0x80070005",
                              "message": "Access denied."})"),
              ToJson(UsbReport(Raised(".?AV_com_error@@", E_ACCESSDENIED)))["exception"]);
    EXPECT_EQ(Json::parse(R"({"type": "std::bad_alloc"})"),
              ToJson(UsbReport(Raised(".?AVbad_alloc@std@@")))["exception"]);
    EXPECT_EQ(Json::parse(R"({"type": null})"), ToJson(UsbReport(Raised("")))["exception"]);
    EXPECT_FALSE(ToJson(UsbReport({Kind::kCrashed, 3})).contains("exception"));
}

TEST(CallReport, EndsTheSentenceOnAnExceptionOnce) {
    CallOutcome outcome = Raised(".?AVout_of_range@std@@");
    for (const std::string message : {"no such position", "no such position."}) {
        std::copy_n(message.c_str(), message.size() + 1, outcome.exception.message.begin());

        EXPECT_EQ(
            "SetUpUSBDriver raised the C++ exception std::out_of_range: no such position. Run it "
            "again with --trace.",
            SentenceOn(UsbReport(outcome)));
    }
}

TEST(CallReport, NamesTheChannelOfEachLine) {
    EXPECT_EQ("[debugger output] a\n",
              ToText(TraceLine{TraceLine::Channel::kDebuggerOutput, L"a"}));
    EXPECT_EQ("[standard output] b\n",
              ToText(TraceLine{TraceLine::Channel::kStandardOutput, L"b"}));
}

struct OutcomeRow {
    const char* name;
    CallOutcome outcome;
    ExitStatus status;
    const char* sentence;
};

class EveryOutcome : public testing::TestWithParam<OutcomeRow> {};

TEST_P(EveryOutcome, HasItsExitStatus) {
    EXPECT_EQ(GetParam().status, StatusOf(UsbReport(GetParam().outcome)));
}

TEST_P(EveryOutcome, IsDescribedInASentence) {
    EXPECT_THAT(SentenceOn(UsbReport(GetParam().outcome)), HasSubstr(GetParam().sentence));
}

INSTANTIATE_TEST_SUITE_P(
    CallReport, EveryOutcome,
    testing::Values(
        OutcomeRow{"Success", {Kind::kReturned, 0}, ExitStatus::kSuccess, "has ended"},
        OutcomeRow{"Failure", {Kind::kReturned, -1}, ExitStatus::kInfMissing, "No INF file"},
        OutcomeRow{
            "UnknownCode", {Kind::kReturned, 7}, ExitStatus::kUnknownCode, "not known to return"},
        OutcomeRow{"LibraryOfOtherBitness",
                   {Kind::kLibraryNotLoaded, ERROR_BAD_EXE_FORMAT},
                   ExitStatus::kLibraryUnusable,
                   "(error 193) Name a 32-bit libmendloft.dll with --library."},
        OutcomeRow{"FunctionMissing",
                   {Kind::kFunctionMissing},
                   ExitStatus::kLibraryUnusable,
                   "C:\\Apps\\libmendloft.dll has no function SetUpUSBDriver"},
        OutcomeRow{"Crash",
                   {Kind::kCrashed, static_cast<std::int32_t>(EXCEPTION_ACCESS_VIOLATION)},
                   ExitStatus::kCallCrashed,
                   "ended with 0xC0000005"},
        OutcomeRow{"ComError", Raised(".?AV_com_error@@", E_ACCESSDENIED), ExitStatus::kCallRaised,
                   "raised the C++ exception _com_error with HRESULT 0x80070005: Access denied. "
                   "Run it again with --trace."},
        OutcomeRow{"ComErrorWithoutResult", Raised(".?AV_com_error@@"), ExitStatus::kCallRaised,
                   "raised the C++ exception _com_error. "},
        OutcomeRow{"NoMemory", Raised(".?AVbad_alloc@std@@"), ExitStatus::kCallRaised,
                   "raised the C++ exception std::bad_alloc: there was not enough memory. "},
        OutcomeRow{"UnknownException", Raised(".?AVUnknown@@"), ExitStatus::kCallRaised,
                   "raised the C++ exception Unknown. "},
        OutcomeRow{"UnreadableException", Raised(""), ExitStatus::kCallRaised,
                   "raised a C++ exception whose type cannot be read. "},
        OutcomeRow{
            "TimeLimit", {Kind::kTimeLimitPassed}, ExitStatus::kTimeLimitPassed, "--timeout"},
        OutcomeRow{"Interruption", {Kind::kInterrupted}, ExitStatus::kInterrupted, "on request"},
        OutcomeRow{"NoProcess",
                   {Kind::kNotStarted, ERROR_ACCESS_DENIED},
                   ExitStatus::kRefusedByWindows,
                   "(error 5)"}),
    [](const auto& test) { return test.param.name; });

}  // namespace
