#include "mendloftctl/child_process.h"

#include <chrono>

namespace ctl {

namespace {

// How much a child can write before it has to wait for the next reading.
constexpr DWORD kPipeSize = 64 * 1024;
constexpr DWORD kLongestEndMs = 5'000;
constexpr DWORD kPollMs = 10;

// 0 also when Windows does not answer: there is nothing to wait for then.
DWORD ActiveProcesses(HANDLE job) {
    JOBOBJECT_BASIC_ACCOUNTING_INFORMATION information{};
    const BOOL known = ::QueryInformationJobObject(job, JobObjectBasicAccountingInformation,
                                                   &information, sizeof(information), nullptr);
    return known ? information.ActiveProcesses : 0;
}

}  // namespace

ChildPipe::ChildPipe() {
    // The attributes make both ends inheritable, but only the writing end is for a child. A child
    // that held the reading end too would wait on a full pipe forever if this program died.
    SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
    if (!::CreatePipe(read_.Receive(), write_.Receive(), &inheritable, kPipeSize)) return;
    (void)::SetHandleInformation(read_.Get(), HANDLE_FLAG_INHERIT, 0);
}

std::string ChildPipe::ReadAvailable() {
    // ReadFile would wait on an empty pipe, so it is asked only for available bytes. A pipe whose
    // last writer has gone fails in PeekNamedPipe once it is empty.
    std::string bytes;
    DWORD available = 0;
    while (::PeekNamedPipe(read_.Get(), nullptr, 0, nullptr, &available, nullptr) &&
           available > 0) {
        const std::size_t before = bytes.size();
        bytes.resize(before + available);
        DWORD read = 0;
        if (!::ReadFile(read_.Get(), bytes.data() + before, available, &read, nullptr)) read = 0;
        bytes.resize(before + read);
        if (read == 0) break;
    }
    return bytes;
}

bool ProcessTree::Add(HANDLE process) {
    // A process that is started inside a job belongs to the job too, so a job reaches processes
    // that this program never hears of. Windows ends them all when the last handle of the job is
    // closed, even when that happens because this program crashed. On Windows 7 and older a process
    // can be in one job only, and adding it to a second one fails.
    job_.Reset(::CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    return job_ &&
           ::SetInformationJobObject(job_.Get(), JobObjectExtendedLimitInformation, &limits,
                                     sizeof(limits)) &&
           ::AssignProcessToJobObject(job_.Get(), process);
}

void ProcessTree::End() {
    if (!job_) return;
    // Windows only begins to end the processes here. Their files are free when they have ended.
    (void)::TerminateJobObject(job_.Get(), ERROR_TIMEOUT);
    for (DWORD waited = 0; waited < kLongestEndMs && ActiveProcesses(job_.Get()) > 0;
         waited += kPollMs) {
        ::Sleep(kPollMs);
    }
}

}  // namespace ctl
