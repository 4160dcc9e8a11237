#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <iterator>

#include "finished_program.h"
#include "mendloftctl/library_call.h"

namespace {

using ctl::CallOutcome;
using testing::HasSubstr;
using testing::StartsWith;
using Json = nlohmann::json;
using Kind = CallOutcome::Kind;

struct Mode {
    const char* name;
    bool isolated;
    bool traced;
};

// A C++ exception leaves the library, in every mode of a call.
class RaisedException : public testing::TestWithParam<Mode> {
protected:
    static CallOutcome Run(const std::wstring& steps) {
        const Script script(steps);
        ctl::LibraryCall call;
        call.program = MendloftCtl();
        call.task.library = ScriptedLibrary();
        call.task.function = "MendloftFolder";
        call.timeout = std::chrono::seconds(60);
        call.isolated = GetParam().isolated;
        ctl::CallObserver observer;
        if (GetParam().traced) observer.onLine = [](const ctl::TraceLine&) {};
        return MakeCall(call, observer);
    }
};

INSTANTIATE_TEST_SUITE_P(EveryMode, RaisedException,
                         testing::Values(Mode{"Plain", false, false}, Mode{"Traced", false, true},
                                         Mode{"Isolated", true, false},
                                         Mode{"IsolatedAndTraced", true, true}),
                         [](const auto& test) { return test.param.name; });

TEST_P(RaisedException, IsReportedWithTheResultOfAComError) {
    const CallOutcome outcome = Run(L"com 80070005");

    EXPECT_EQ(Kind::kRaised, outcome.kind);
    EXPECT_EQ("_com_error", TypeName(outcome.exception));
    EXPECT_TRUE(outcome.exception.hasResult);
    EXPECT_EQ(E_ACCESSDENIED, outcome.exception.result);
}

TEST_P(RaisedException, IsReportedWithTheMessageOfAnOutOfRange) {
    const CallOutcome outcome = Run(L"range no such position");

    EXPECT_EQ(Kind::kRaised, outcome.kind);
    EXPECT_EQ("std::out_of_range", TypeName(outcome.exception));
    EXPECT_STREQ("no such position", outcome.exception.message.data());
}

TEST_P(RaisedException, IsReportedWithItsType) {
    for (const wchar_t* type : {L".?AVbad_alloc@std@@", L".?AVUnknown@@", L".PBD"}) {
        const CallOutcome outcome = Run(std::wstring(L"raise ") + type);

        EXPECT_EQ(Kind::kRaised, outcome.kind);
        EXPECT_EQ(std::wstring(type), std::wstring(std::begin(outcome.exception.type),
                                                   std::ranges::find(outcome.exception.type, 0)));
    }
}

TEST_P(RaisedException, IsReportedWithoutATypeWhenItIsDamaged) {
    for (const wchar_t* steps : {L"damaged 0", L"damaged 1", L"damaged 2", L"damaged 3"}) {
        const CallOutcome outcome = Run(steps);

        EXPECT_EQ(Kind::kRaised, outcome.kind);
        EXPECT_EQ("", TypeName(outcome.exception));
    }
}

TEST_P(RaisedException, IsKnownByTheExitCodeAlone) {
    EXPECT_EQ(Kind::kRaised, Run(L"end E06D7363").kind);
}

TEST_P(RaisedException, IsNotReportedWhenTheLibraryHandlesIt) {
    const CallOutcome outcome = Run(L"handled;return 4");

    EXPECT_EQ(Kind::kReturned, outcome.kind);
    EXPECT_EQ(4, outcome.value);
}

TEST_P(RaisedException, IsNotTakenForACrashThatFollowsAHandledOne) {
    const CallOutcome outcome = Run(L"handled;crash");

    EXPECT_EQ(Kind::kCrashed, outcome.kind);
    EXPECT_EQ(static_cast<std::int32_t>(EXCEPTION_ACCESS_VIOLATION), outcome.value);
}

// ---- the finished program

ProgramRun RunWith(const wchar_t* steps, const std::wstring& options) {
    const Script script(steps);
    return RunMendloftCtl(L"port 1 --library \"" + ScriptedLibrary() + L"\" " + options);
}

TEST(RaisedExceptionReport, IsALineAndAStatus) {
    const ProgramRun run = RunWith(L"com 80004005", L"");

    EXPECT_EQ(8U, run.status);
    EXPECT_EQ("", run.output);
    EXPECT_THAT(run.notes,
                StartsWith("mendloftctl: AMDPortTest raised the C++ exception _com_error "
                           "with HRESULT 0x80004005: "));
}

TEST(RaisedExceptionReport, IsAvailableAsJson) {
    for (const wchar_t* options : {L"--json", L"--json --isolated", L"--json --isolated --trace"}) {
        const ProgramRun run = RunWith(L"com 80004005", options);
        const Json json = Json::parse(run.output);

        EXPECT_EQ(8U, run.status);
        EXPECT_EQ(8, json["status"]);
        EXPECT_FALSE(json["success"]);
        EXPECT_FALSE(json.contains("code"));
        EXPECT_EQ("_com_error", json["exception"]["type"]);
        EXPECT_EQ("0x80004005", json["exception"]["hresult"]);
        EXPECT_THAT(json["error"].get<std::string>(), HasSubstr("0x80004005"));
    }
}

TEST(RaisedExceptionReport, HasNoTypeWhenTheExceptionIsDamaged) {
    const ProgramRun run = RunWith(L"damaged 3", L"--json");

    EXPECT_EQ(8U, run.status);
    EXPECT_EQ(Json(nullptr), Json::parse(run.output)["exception"]["type"]);
}

}  // namespace
