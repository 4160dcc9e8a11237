#include "mendloftctl/library_call.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "common/text.h"
#include "mendloftctl/child_process.h"
#include "mendloftctl/debugger.h"

namespace ctl {

using tools::FromAnsi;

namespace {

using Clock = std::chrono::steady_clock;
using Kind = CallOutcome::Kind;

constexpr std::chrono::milliseconds kWaitAtATime{50};

std::int32_t LastError() {
    return static_cast<std::int32_t>(::GetLastError());
}

UniqueFile OpenNowhere() {
    SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
    return UniqueFile(::CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
}

template <typename String>
void TrimLineEnd(String& line) {
    while (line.ends_with('\n') || line.ends_with('\r')) line.pop_back();
}

// Puts lines together from the pieces that they come in.
class LineAssembler {
public:
    template <typename Take>
    void Add(std::string_view bytes, Take take) {
        rest_ += bytes;
        for (std::size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n')) {
            take(rest_.substr(0, end));
            rest_.erase(0, end + 1);
        }
    }
    template <typename Take>
    void End(Take take) {
        if (!rest_.empty()) take(std::exchange(rest_, {}));
    }

private:
    std::string rest_;
};

// Starts the worker process of one call, watches it and all that it starts, and hears its answer.
class Supervisor {
public:
    Supervisor(const LibraryCall& call, const CallObserver& observer)
        : call_(call), observer_(observer) {}

    CallOutcome Run() {
        if (!Start()) return {Kind::kNotStarted, LastError()};
        const std::optional<Kind> ended = WaitForEnd();
        ReadLines();
        lines_.End([this](std::string line) { TellLine(std::move(line)); });
        if (const std::optional<CallOutcome> outcome = Answer()) return *outcome;
        if (ended) return {*ended};
        return {Kind::kCrashed, ExitCode()};
    }

private:
    [[nodiscard]] bool IsTraced() const { return observer_.onLine != nullptr; }

    bool Start() {
        // Otherwise Windows gives a debugged process a heap that checks itself all the time.
        ::SetEnvironmentVariableW(L"_NO_DEBUG_HEAP", L"1");
        const UniqueFile nowhere = OpenNowhere();
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = nowhere.Get();
        startup.hStdOutput = IsTraced() ? output_.WritingEnd() : nowhere.Get();
        startup.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
        const bool started = Create(startup);
        output_.CloseWritingEnd();
        answer_.CloseWritingEnd();
        return started && Release();
    }

    bool Create(STARTUPINFOW& startup) {
        WorkerTask task = call_.task;
        task.answer = answer_.WritingEnd();
        std::wstring commandLine = L"\"" + call_.program + L"\" " + WorkerArguments(task);
        const DWORD flags = CREATE_SUSPENDED | (IsTraced() ? DEBUG_ONLY_THIS_PROCESS : 0);
        PROCESS_INFORMATION started{};
        if (!::CreateProcessW(call_.program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                              flags, nullptr, nullptr, &startup, &started)) {
            return false;
        }
        process_.Reset(started.hProcess);
        thread_.Reset(started.hThread);
        return true;
    }

    // Lets the worker run, but not before it can be ended with all that it will start.
    bool Release() {
        if (call_.isolated && !tree_.Add(process_.Get())) {
            const DWORD error = ::GetLastError();
            (void)::TerminateProcess(process_.Get(), error);
            ::SetLastError(error);
            return false;
        }
        (void)::ResumeThread(thread_.Get());
        return true;
    }

    // Why the worker was ended before its time; empty when it came to its own end.
    std::optional<Kind> WaitForEnd() {
        const Clock::time_point start = Clock::now();
        std::chrono::milliseconds nextProgress = call_.progressInterval;
        Debugger debugger(process_.Get());
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
        tree_.End();
        // The worker may have heard of it too, and sooner.
        return WasInterrupted() ? std::optional(Kind::kInterrupted) : std::nullopt;
    }

    // The pipe is read in front of each debugger event: the process stands still then, so all that
    // it wrote before is in the pipe, and the lines of both channels stay in their order.
    void WaitAWhile(Debugger& debugger) {
        if (!IsTraced()) {
            (void)::WaitForSingleObject(process_.Get(), static_cast<DWORD>(kWaitAtATime.count()));
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

    void EndAll(Debugger& debugger) {
        tree_.End();
        // A debugged process is not gone before its debugger knows.
        for (int tries = 0; tries < 100 && !HasEnded(); ++tries) WaitAWhile(debugger);
    }

    [[nodiscard]] bool HasEnded() const {
        return ::WaitForSingleObject(process_.Get(), 0) == WAIT_OBJECT_0;
    }

    void ReadLines() {
        lines_.Add(output_.ReadAvailable(),
                   [this](std::string line) { TellLine(std::move(line)); });
    }

    void TellLine(std::string line) {
        TrimLineEnd(line);
        observer_.onLine({TraceLine::Channel::kStandardOutput, FromAnsi(line)});
    }

    [[nodiscard]] std::optional<CallOutcome> Answer() {
        const std::string bytes = answer_.ReadAvailable();
        WorkerAnswer answer{};
        if (bytes.size() != sizeof(answer)) return std::nullopt;
        std::memcpy(&answer, bytes.data(), sizeof(answer));
        switch (answer.kind) {
            case WorkerAnswer::kReturned:
                return CallOutcome{Kind::kReturned, answer.value};
            case WorkerAnswer::kLibraryNotLoaded:
                return CallOutcome{Kind::kLibraryNotLoaded, answer.value};
            default:
                return CallOutcome{Kind::kFunctionMissing};
        }
    }

    [[nodiscard]] std::int32_t ExitCode() const {
        DWORD code = 0;
        (void)::GetExitCodeProcess(process_.Get(), &code);
        return static_cast<std::int32_t>(code);
    }

    const LibraryCall& call_;
    const CallObserver& observer_;
    ChildPipe output_;
    ChildPipe answer_;
    LineAssembler lines_;
    UniqueHandle process_;
    UniqueHandle thread_;
    ProcessTree tree_;
};

}  // namespace

CallOutcome MakeCall(const LibraryCall& call, const CallObserver& observer) {
    return Supervisor(call, observer).Run();
}

}  // namespace ctl
