#include "mendloftctl/worker_process.h"

#include <cstring>

namespace ctl {

namespace {

// A file that reads as empty and discards what is written to it. A worker gets it as standard
// input, so that nothing in it waits for the keyboard.
UniqueFile OpenNullDevice() {
    SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
    return UniqueFile(::CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

bool WorkerProcess::Start(const LibraryCall& call, bool isTraced) {
    // Windows gives a debugged process a heap that checks every block, which is slow. The worker
    // inherits this variable, which turns that off.
    ::SetEnvironmentVariableW(L"_NO_DEBUG_HEAP", L"1");
    const UniqueFile nullDevice = OpenNullDevice();
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = nullDevice.Get();
    startup.hStdOutput = isTraced ? output_.WritingEnd() : nullDevice.Get();
    startup.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
    const bool created = Create(call, isTraced, startup);
    output_.CloseWritingEnd();
    answer_.CloseWritingEnd();
    return created && Release(call.isolated);
}

bool WorkerProcess::Create(const LibraryCall& call, bool isTraced, STARTUPINFOW& startup) {
    WorkerTask task = call.task;
    task.answer = answer_.WritingEnd();
    std::wstring commandLine = L"\"" + call.program + L"\" " + WorkerArguments(task);
    // Suspended: a worker that ran already could start a process before it is in its job, and that
    // process would never be in it. Only this process is debugged: the processes that the worker
    // starts, such as the installer tool, have nothing to trace.
    const DWORD flags = CREATE_SUSPENDED | (isTraced ? DEBUG_ONLY_THIS_PROCESS : 0);
    PROCESS_INFORMATION started{};
    if (!::CreateProcessW(call.program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, flags,
                          nullptr, nullptr, &startup, &started)) {
        return false;
    }
    process_.Reset(started.hProcess);
    thread_.Reset(started.hThread);
    return true;
}

// The worker of an isolated call that cannot be put into a job is ended before it has run, because
// its time limit would not reach the processes that it starts.
bool WorkerProcess::Release(bool isIsolated) {
    if (isIsolated && !tree_.Add(process_.Get())) {
        const DWORD error = ::GetLastError();
        (void)::TerminateProcess(process_.Get(), error);
        ::SetLastError(error);
        return false;
    }
    (void)::ResumeThread(thread_.Get());
    return true;
}

bool WorkerProcess::WaitForEnd(std::chrono::milliseconds limit) const {
    return ::WaitForSingleObject(process_.Get(), static_cast<DWORD>(limit.count())) ==
           WAIT_OBJECT_0;
}

std::int32_t WorkerProcess::ExitCode() const {
    DWORD code = 0;
    (void)::GetExitCodeProcess(process_.Get(), &code);
    return static_cast<std::int32_t>(code);
}

std::optional<WorkerAnswer> WorkerProcess::ReadAnswer() {
    // A worker that was ended while it wrote leaves less than an answer, which is none.
    const std::string bytes = answer_.ReadAvailable();
    WorkerAnswer answer{};
    if (bytes.size() != sizeof(answer)) return std::nullopt;
    std::memcpy(&answer, bytes.data(), sizeof(answer));
    return answer;
}

}  // namespace ctl
