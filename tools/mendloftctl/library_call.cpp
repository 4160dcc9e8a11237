#include "mendloftctl/library_call.h"

#include <optional>
#include <string_view>
#include <utility>

#include "common/text.h"
#include "mendloftctl/debugger.h"
#include "mendloftctl/worker_process.h"

namespace ctl {

using tools::FromAnsi;

namespace {

using Clock = std::chrono::steady_clock;
using Kind = CallOutcome::Kind;

// How late the time limit, Ctrl+C and a line of standard output may be noticed.
constexpr std::chrono::milliseconds kWaitAtATime{50};

template <typename String>
void TrimLineEnd(String& line) {
    while (line.ends_with('\n') || line.ends_with('\r')) line.pop_back();
}

// Makes lines of the pieces that a pipe delivers, which may begin and end anywhere.
class LineAssembler {
public:
    // Calls `take` with every line that `bytes` completes. What follows the last is held back.
    template <typename Take>
    void Add(std::string_view bytes, Take take) {
        rest_ += bytes;
        for (std::size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n')) {
            take(rest_.substr(0, end));
            rest_.erase(0, end + 1);
        }
    }

    // Calls `take` with a last line that was not ended, if there is one.
    template <typename Take>
    void End(Take take) {
        if (!rest_.empty()) take(std::exchange(rest_, {}));
    }

private:
    std::string rest_;
};

CallOutcome OutcomeOf(const WorkerAnswer& answer) {
    switch (answer.kind) {
        case WorkerAnswer::kReturned:
            return {Kind::kReturned, answer.value};
        case WorkerAnswer::kLibraryNotLoaded:
            return {Kind::kLibraryNotLoaded, answer.value};
        case WorkerAnswer::kRaised:
            return {Kind::kRaised, 0, answer.exception};
        default:
            return {Kind::kFunctionMissing};
    }
}

// Supervises the worker of one call, from its start to its answer.
class Supervisor {
public:
    Supervisor(const LibraryCall& call, const CallObserver& observer)
        : call_(call), observer_(observer) {}

    CallOutcome Run() {
        if (!worker_.Start(call_, IsTraced())) {
            return {Kind::kNotStarted, static_cast<std::int32_t>(::GetLastError())};
        }
        Debugger debugger(worker_.Process());
        const std::optional<Kind> ended = WaitForEnd(debugger);
        ReadLines();
        lines_.End([this](std::string line) { ReportLine(std::move(line)); });
        // A complete answer counts even when the worker was ended right after it: the function has
        // returned, and its result is true.
        if (const std::optional<WorkerAnswer> answer = worker_.ReadAnswer()) {
            return OutcomeOf(*answer);
        }
        if (debugger.Unhandled()) return {Kind::kRaised, 0, *debugger.Unhandled()};
        if (ended) return {*ended};
        const std::int32_t code = worker_.ExitCode();
        const bool raised = static_cast<DWORD>(code) == kCppExceptionCode;
        return raised ? CallOutcome{Kind::kRaised} : CallOutcome{Kind::kCrashed, code};
    }

private:
    [[nodiscard]] bool IsTraced() const { return observer_.onLine != nullptr; }

    // Why the worker was ended; empty when it ended by itself.
    std::optional<Kind> WaitForEnd(Debugger& debugger) {
        const Clock::time_point start = Clock::now();
        std::chrono::milliseconds nextProgress = call_.progressInterval;
        while (!HasEnded()) {
            WaitAWhile(debugger);
            if (!call_.isolated) continue;
            const auto elapsed =
                std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
            if (const std::optional<Kind> reason = ReasonToStop(elapsed)) {
                EndAll(debugger);
                return reason;
            }
            if (elapsed < nextProgress) continue;
            nextProgress += call_.progressInterval;
            if (observer_.onProgress) observer_.onProgress(elapsed);
        }
        // An isolated call leaves nothing running, so that its private folder can be removed.
        worker_.EndAll();
        // Ctrl+C reaches every process of the console. The worker may have ended because of it
        // before this thread noticed.
        return WasInterrupted() ? std::optional(Kind::kInterrupted) : std::nullopt;
    }

    // Waits for the worker and passes on what it writes meanwhile. The pipe is read before each
    // debugger line is reported: the worker stands still during a debugger event, so everything
    // that it wrote earlier is in the pipe, and the lines of both channels stay in their order. An
    // empty wait reads the pipe too, or the worker would block on a full one.
    void WaitAWhile(Debugger& debugger) {
        if (!IsTraced()) {
            (void)worker_.WaitForEnd(kWaitAtATime);
            return;
        }
        debugger.Wait(kWaitAtATime, [this](std::wstring text) {
            ReadLines();
            TrimLineEnd(text);
            observer_.onLine({TraceLine::Channel::kDebuggerOutput, std::move(text)});
        });
        ReadLines();
    }

    [[nodiscard]] std::optional<Kind> ReasonToStop(std::chrono::milliseconds elapsed) const {
        if (elapsed >= call_.timeout) return Kind::kTimeLimitPassed;
        if (WasInterrupted()) return Kind::kInterrupted;
        return std::nullopt;
    }

    [[nodiscard]] bool WasInterrupted() const {
        return call_.interrupted != nullptr &&
               ::WaitForSingleObject(call_.interrupted, 0) == WAIT_OBJECT_0;
    }

    // A debugged process ends only when its debugger has handled the event of its end, so its last
    // events are handled here. The number of waits bounds the time.
    void EndAll(Debugger& debugger) {
        worker_.EndAll();
        for (int tries = 0; tries < 100 && !HasEnded(); ++tries) WaitAWhile(debugger);
    }

    [[nodiscard]] bool HasEnded() const {
        return worker_.WaitForEnd(std::chrono::milliseconds::zero());
    }

    void ReadLines() {
        lines_.Add(worker_.ReadOutput(), [this](std::string line) { ReportLine(std::move(line)); });
    }

    void ReportLine(std::string line) {
        TrimLineEnd(line);
        observer_.onLine({TraceLine::Channel::kStandardOutput, FromAnsi(line)});
    }

    const LibraryCall& call_;
    const CallObserver& observer_;
    LineAssembler lines_;
    WorkerProcess worker_;
};

}  // namespace

CallOutcome MakeCall(const LibraryCall& call, const CallObserver& observer) {
    return Supervisor(call, observer).Run();
}

}  // namespace ctl
