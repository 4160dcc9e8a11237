#include "mendloftctl/library_call.h"

#include <gmock/gmock.h>

#include "finished_program.h"
#include "support/fake_api.h"

namespace {

using ctl::CallOutcome;
using ctl::TraceLine;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Kind = CallOutcome::Kind;

class LibraryCallTest : public testing::Test {
protected:
    LibraryCallTest() {
        call.program = MendloftCtl();
        call.task.library = ScriptedLibrary();
        call.task.function = "MendloftFolder";
        call.timeout = std::chrono::seconds(60);
    }

    void Trace() {
        observer.onLine = [this](const TraceLine& line) {
            const bool debugger = line.channel == TraceLine::Channel::kDebuggerOutput;
            lines.push_back((debugger ? L"debugger: " : L"output: ") + line.text);
        };
    }

    CallOutcome Run(const std::wstring& steps) {
        const Script script(steps);
        return MakeCall(call, observer);
    }

    ctl::LibraryCall call;
    ctl::CallObserver observer;
    std::vector<std::wstring> lines;
};

TEST_F(LibraryCallTest, ReturnsWhatTheFunctionReturns) {
    const CallOutcome outcome = Run(L"return -3");

    EXPECT_EQ(Kind::kReturned, outcome.kind);
    EXPECT_EQ(-3, outcome.value);
}

TEST_F(LibraryCallTest, ReadsOneByteOfThePortTestsResult) {
    call.task.function = "AMDPortTest";

    EXPECT_EQ(1, Run(L"return 1").value);
    EXPECT_EQ(0, Run(L"return 0").value);
}

TEST_F(LibraryCallTest, PassesOnTheArgument) {
    Trace();
    call.task.argument = 27015;

    (void)Run(L"argument");

    EXPECT_THAT(lines, ElementsAre(L"output: 27015"));
}

TEST_F(LibraryCallTest, ReportsTheLinesOfBothChannelsInOrder) {
    Trace();

    (void)Run(L"print one;debug two\n;print three;debug four");

    EXPECT_THAT(lines,
                ElementsAre(L"output: one", L"debugger: two", L"output: three", L"debugger: four"));
}

TEST_F(LibraryCallTest, ReportsALineBeforeTheCallEnds) {
    std::chrono::steady_clock::time_point reportedAt;
    observer.onLine = [&](const TraceLine&) { reportedAt = std::chrono::steady_clock::now(); };

    (void)Run(L"print early;sleep 1000");

    EXPECT_GT(std::chrono::steady_clock::now() - reportedAt, std::chrono::milliseconds(300));
}

TEST_F(LibraryCallTest, ReportsLongDebuggerLinesWhole) {
    Trace();

    (void)Run(L"debug " + std::wstring(10'000, L'x'));

    EXPECT_THAT(lines, ElementsAre(L"debugger: " + std::wstring(10'000, L'x')));
}

TEST_F(LibraryCallTest, ReportsALastLineWithoutALineFeed) {
    Trace();

    (void)Run(L"print whole;put the ;put rest");

    EXPECT_THAT(lines, ElementsAre(L"output: whole", L"output: the rest"));
}

TEST_F(LibraryCallTest, ReportsAMissingLibrary) {
    call.task.library = L"C:\\nowhere.dll";

    const CallOutcome outcome = Run(L"");

    EXPECT_EQ(Kind::kLibraryNotLoaded, outcome.kind);
    EXPECT_EQ(ERROR_MOD_NOT_FOUND, outcome.value);
}

TEST_F(LibraryCallTest, ReportsALibraryWithoutTheFunction) {
    call.task.function = "SetUpKisDriver";

    EXPECT_EQ(Kind::kFunctionMissing, Run(L"").kind);
}

TEST_F(LibraryCallTest, ReportsACrash) {
    const CallOutcome outcome = Run(L"crash");

    EXPECT_EQ(Kind::kCrashed, outcome.kind);
    EXPECT_EQ(static_cast<std::int32_t>(EXCEPTION_ACCESS_VIOLATION), outcome.value);
}

TEST_F(LibraryCallTest, ReportsATracedCrash) {
    Trace();

    const CallOutcome outcome = Run(L"debug last words;crash");

    EXPECT_EQ(Kind::kCrashed, outcome.kind);
    EXPECT_EQ(static_cast<std::int32_t>(EXCEPTION_ACCESS_VIOLATION), outcome.value);
    EXPECT_THAT(lines, ElementsAre(L"debugger: last words"));
}

TEST_F(LibraryCallTest, ReportsAProgramThatCannotBeStarted) {
    call.program = L"C:\\nowhere.exe";

    const CallOutcome outcome = Run(L"");

    EXPECT_EQ(Kind::kNotStarted, outcome.kind);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, outcome.value);
}

TEST_F(LibraryCallTest, GivesTheCallItsTemporaryDirectory) {
    Trace();
    const TemporaryFolder folder;
    call.task.temporaryDirectory = folder.Path();

    (void)Run(L"temp");

    EXPECT_THAT(lines, ElementsAre(L"output: " + folder.Path() + L"\\"));
}

// ---- isolated calls

class IsolatedCallTest : public LibraryCallTest {
protected:
    IsolatedCallTest() { call.isolated = true; }

    // The processes whose identifiers the call printed and that are still running.
    [[nodiscard]] std::vector<UniqueHandle> Printed() const {
        std::vector<UniqueHandle> running;
        for (const std::wstring& line : lines) {
            const DWORD id = std::stoul(line.substr(line.find(L' ')));
            UniqueHandle process(::OpenProcess(SYNCHRONIZE, FALSE, id));
            if (process && ::WaitForSingleObject(process.Get(), 0) == WAIT_TIMEOUT)
                running.push_back(std::move(process));
        }
        return running;
    }

    const std::wstring startSleeper = L"start " + ProgramFolder() + L"\\sleeper.exe";
};

TEST_F(IsolatedCallTest, ReturnsWhatTheFunctionReturns) {
    const CallOutcome outcome = Run(L"return 4");

    EXPECT_EQ(Kind::kReturned, outcome.kind);
    EXPECT_EQ(4, outcome.value);
}

TEST_F(IsolatedCallTest, EndsAtItsTimeLimit) {
    call.timeout = std::chrono::milliseconds(500);

    EXPECT_EQ(Kind::kTimeLimitPassed, Run(L"sleep 60000").kind);
}

TEST_F(IsolatedCallTest, LeavesNothingRunningAfterTheCallReturns) {
    Trace();

    EXPECT_EQ(Kind::kReturned, Run(startSleeper).kind);

    EXPECT_THAT(lines, SizeIs(1));
    EXPECT_THAT(Printed(), IsEmpty());
}

TEST_F(IsolatedCallTest, EndsAllThatTheCallStartedWhenItIsInterrupted) {
    const UniqueHandle event(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    call.interrupted = event.Get();
    observer.onLine = [&](const TraceLine& line) {
        lines.push_back(L"output: " + line.text);
        ::SetEvent(event.Get());
    };

    EXPECT_EQ(Kind::kInterrupted, Run(startSleeper + L";sleep 60000").kind);

    EXPECT_THAT(lines, SizeIs(1));
    EXPECT_THAT(Printed(), IsEmpty());
}

TEST_F(IsolatedCallTest, ReportsItsProgress) {
    std::vector<std::chrono::milliseconds> reported;
    call.progressInterval = std::chrono::milliseconds(200);
    observer.onProgress = [&](std::chrono::milliseconds elapsed) { reported.push_back(elapsed); };

    (void)Run(L"sleep 1000");

    ASSERT_GE(reported.size(), 2U);
    EXPECT_GE(reported[0], std::chrono::milliseconds(200));
    EXPECT_GE(reported[1], std::chrono::milliseconds(400));
}

TEST_F(IsolatedCallTest, IsNotMadeWhenTheProcessCannotBeAddedToAJob) {
    const FakeApi<"AssignProcessToJobObject", decltype(::AssignProcessToJobObject)> refuse(
        [](HANDLE, HANDLE) {
            ::SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        });

    const CallOutcome outcome = Run(L"return 4");

    EXPECT_EQ(Kind::kNotStarted, outcome.kind);
    EXPECT_EQ(ERROR_ACCESS_DENIED, outcome.value);
}

TEST_F(LibraryCallTest, LeavesRunningWhatACallThatIsNotIsolatedStarted) {
    Trace();

    EXPECT_EQ(Kind::kReturned, Run(L"start " + ProgramFolder() + L"\\sleeper.exe").kind);

    ASSERT_THAT(lines, SizeIs(1));
    const UniqueHandle sleeper(::OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE, FALSE,
                                             std::stoul(lines[0].substr(lines[0].find(L' ')))));
    EXPECT_EQ(WAIT_TIMEOUT, ::WaitForSingleObject(sleeper.Get(), 0));
    ::TerminateProcess(sleeper.Get(), 0);
}

}  // namespace
