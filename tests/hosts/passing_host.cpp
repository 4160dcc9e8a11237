#include <windows.h>

#include <setjmp.h>

#include "hosts/holdings.h"
#include "hosts/library.h"
#include "hosts/library_patches.h"
#include "hosts/report.h"
#include "hosts/setting.h"
#include "hosts/thrown.h"

// A host for mingw-w64, whose C++ runtime does not know Microsoft's exceptions. They pass through
// its functions to the handlers of structured exceptions.

namespace {

constexpr int kRepair = 1;
constexpr PROPID kPath = 3;
constexpr PROPID kAttributes = 9;
constexpr UINT kItem = 3;

// Repairs the folders in a function that catches every C++ exception.
void RepairAndCatch(const Library& library) {
    try {
        (void)library.Call("MendloftFolder", kRepair);
        Expect(false, "the call does not return");
    } catch (...) {
        Expect(false, "the exception is not one of this runtime");
    }
}

struct Frame;
using FrameHandler = EXCEPTION_DISPOSITION(__cdecl*)(EXCEPTION_RECORD* record, Frame* frame,
                                                     CONTEXT* context, void* dispatcher);

// An entry of the thread's list of handlers of structured exceptions. `jump` is where the function
// that owns it continues after an exception.
struct Frame {
    Frame* next;
    FrameHandler handler;
    jmp_buf jump;
};

// The first word of what Windows keeps for a thread points to the list. Windows reads the frames,
// which the compiler has to be told.
Frame* FirstFrame() {
    return reinterpret_cast<Frame*>(__readfsdword(0));
}
void SetFirstFrame(const Frame* frame) {
    __asm__ __volatile__("movl %0, %%fs:0" : : "r"(frame) : "memory");
}

// Handles an exception of the library as the runtime of another compiler would: destroys the
// object and continues in the function that has the handler.
EXCEPTION_DISPOSITION __cdecl Handle(EXCEPTION_RECORD* record, Frame* frame, CONTEXT*, void*) {
    constexpr DWORD unwinding = 0x2 | 0x4;
    if (record->ExceptionCode != kThrownCode || (record->ExceptionFlags & unwinding) != 0)
        return ExceptionContinueSearch;
    const auto& type = *reinterpret_cast<const ThrownType*>(record->ExceptionInformation[2]);
    type.destroy(reinterpret_cast<void*>(record->ExceptionInformation[1]));
    longjmp(frame->jump, 1);
}

// Whether an exception of the library came to a handler of structured exceptions.
bool IsHandled(const Library& library) {
    Frame frame = {FirstFrame(), &Handle, {}};
    SetFirstFrame(&frame);
    const bool handled = setjmp(frame.jump) != 0;
    if (!handled) RepairAndCatch(library);
    SetFirstFrame(frame.next);
    return handled;
}

void ExpectException(const Setting& setting, const Library& library, HRESULT result) {
    setting.Clear();
    const ThrownExceptions thrown;

    Expect(IsHandled(library), "a handler of structured exceptions gets it");

    ExpectEqual(1, ThrownExceptions::raised, "one exception is raised");
    Expect(ThrownExceptions::wellFormed, "it has Microsoft's form");
    ExpectEqual(result, ThrownExceptions::Result(), "the HRESULT is the right one");
    ExpectEqual(1, ThrownExceptions::destroyed, "its object can be destroyed");
}

void ExceptionsPassThrough(const Setting& setting, const Library& library) {
    {
        Begin("a path that cannot be read");
        const UnreadableProperty path(library.Module(), kItem, kPath,
                                      UnreadableProperty::WithResult{STG_E_READFAULT});
        Expect(path.Works(), "the 7z handler is found");
        ExpectException(setting, library, STG_E_READFAULT);
    }
    {
        Begin("attributes that are a fraction");
        const UnreadableProperty attributes(library.Module(), kItem, kAttributes,
                                            UnreadableProperty::WithType{VT_R8});
        ExpectException(setting, library, E_FAIL);
    }
    {
        Begin("no memory for a path");
        const NoMemoryForStrings noStrings(library.Module());
        ExpectException(setting, library, E_OUTOFMEMORY);
    }
}

void TheLibraryStillWorks(const Setting& setting, const Library& library) {
    Begin("a repair after that");
    setting.Clear();

    ExpectEqual(kMendloftFoldersBuilt, library.Call("MendloftFolder", kRepair),
                "the folders are built");
}

void ExceptionsLeaveNothing(const Library& library) {
    Begin("500 exceptions");
    constexpr long throws = 500;
    const UnreadableProperty path(library.Module(), 0, kPath,
                                  UnreadableProperty::WithResult{STG_E_READFAULT});
    for (int i = 0; i < 50; ++i) Expect(IsHandled(library), "the exception is handled");
    (void)Holdings::Now();
    const Holdings before = Holdings::Now();

    for (int i = 0; i < throws; ++i) Expect(IsHandled(library), "the exception is handled again");

    ExpectNothingLeft(before, Holdings::Now(), throws);
}

// This program, started again with an argument.
class Child {
public:
    Child(const wchar_t* argument, DWORD flags) {
        Path command =
            PathOf(L"\"") + BesideTheProgram(L"passing_host.exe").text + L"\" " + argument;
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION started = {};
        if (!::CreateProcessW(nullptr, command.text, nullptr, nullptr, FALSE, flags, nullptr,
                              nullptr, &startup, &started)) {
            return;
        }
        (void)::CloseHandle(started.hThread);
        process_ = started.hProcess;
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() { (void)::CloseHandle(process_); }

    // Waits for its end.
    [[nodiscard]] long ExitCode() const {
        DWORD code = 0;
        (void)::WaitForSingleObject(process_, 60'000);
        (void)::GetExitCodeProcess(process_, &code);
        return static_cast<long>(code);
    }

private:
    HANDLE process_ = nullptr;
};

// Debugs a child until it ends and lets each exception pass. Returns the code of the last one that
// nothing in the child has handled.
DWORD UnhandledInChild() {
    DWORD unhandled = 0;
    DEBUG_EVENT event = {};
    while (event.dwDebugEventCode != EXIT_PROCESS_DEBUG_EVENT &&
           ::WaitForDebugEvent(&event, 60'000)) {
        DWORD answer = DBG_CONTINUE;
        if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT) {
            const EXCEPTION_DEBUG_INFO& exception = event.u.Exception;
            const DWORD code = exception.ExceptionRecord.ExceptionCode;
            // Windows stops each process with a breakpoint when it starts.
            if (code != EXCEPTION_BREAKPOINT) answer = DBG_EXCEPTION_NOT_HANDLED;
            if (exception.dwFirstChance == 0) unhandled = code;
        }
        (void)::ContinueDebugEvent(event.dwProcessId, event.dwThreadId, answer);
    }
    return unhandled;
}

// The process then ends with the HRESULT.
LONG WINAPI EndWithResult(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode != kThrownCode || record.NumberParameters != 3)
        return EXCEPTION_CONTINUE_SEARCH;
    const auto* const object = reinterpret_cast<const HRESULT*>(record.ExceptionInformation[1]);
    (void)::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(object[1]));
    return EXCEPTION_EXECUTE_HANDLER;
}

// What a child does.
int LetItPass(bool withFilter) {
    if (withFilter) (void)::SetUnhandledExceptionFilter(&EndWithResult);
    const Library library(BuiltLibrary());
    const UnreadableProperty path(library.Module(), kItem, kPath,
                                  UnreadableProperty::WithResult{STG_E_READFAULT});
    RepairAndCatch(library);
    return Verdict();
}

void UnhandledExceptionsEndTheProcess(const Setting& setting) {
    Begin("an exception that a filter of unhandled exceptions gets");
    setting.Clear();
    ExpectEqual(STG_E_READFAULT, Child(L"filtered", 0).ExitCode(), "it has the HRESULT");

    // Under a debugger, because Wine would otherwise report a crash and start one.
    Begin("an exception that nothing handles");
    setting.Clear();
    const Child child(L"unhandled", DEBUG_ONLY_THIS_PROCESS);
    ExpectEqual(static_cast<long>(kThrownCode), static_cast<long>(UnhandledInChild()),
                "it ends the process");
    ExpectEqual(static_cast<long>(kThrownCode), child.ExitCode(), "its code is the exit code");
}

}  // namespace

int main(int count, char** arguments) {
    if (!IsWine()) {
        Say("This host rebuilds the driver store, so it runs under Wine only. Skipped.");
        return 0;
    }
    if (count > 1) return LetItPass(/*withFilter=*/::lstrcmpA(arguments[1], "filtered") == 0);
    const Setting setting;
    const Library library(BuiltLibrary());
    if (!Expect(library.Module() != nullptr, "the library can be loaded")) return Verdict();
    TheLibraryStillWorks(setting, library);
    UnhandledExceptionsEndTheProcess(setting);
    ExceptionsPassThrough(setting, library);
    TheLibraryStillWorks(setting, library);
    ExceptionsLeaveNothing(library);
    TheLibraryStillWorks(setting, library);
    return Verdict();
}
