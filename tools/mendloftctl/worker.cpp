#include "mendloftctl/worker.h"

#include <charconv>
#include <cstdio>

#include "common/text.h"
#include "mendloftctl/library_functions.h"

namespace ctl {

using tools::FromUtf8;

namespace {

// Empty unless all of `text` is a number.
template <typename Number>
std::optional<Number> ToNumber(const std::string& text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// The path in quotes, as Windows splits command lines. A path cannot contain a quote, but a
// backslash at its end would escape the closing one, so it is doubled.
std::wstring Quoted(const std::wstring& path) {
    return L"\"" + path + (path.ends_with(L'\\') ? L"\\\"" : L"\"");
}

// The cast goes through a pointer to data, because GCC warns of a cast between function types.
WorkerAnswer Call(FARPROC function, ResultKind results, std::int32_t argument) {
    auto* const address = reinterpret_cast<void*>(function);
    const std::int32_t value = results == ResultKind::kPort
                                   ? reinterpret_cast<PortFunction>(address)(argument)
                                   : reinterpret_cast<RepairFunction>(address)(argument);
    return {WorkerAnswer::kReturned, value};
}

// The library stays loaded: what unloading it does is not part of the call, and a crash in it would
// hide the result.
WorkerAnswer LoadAndCall(const WorkerTask& task) {
    // The worker may run with administrator rights in a folder that others can write to, so DLLs
    // must not come from the current folder: the first call takes it off the search path. With the
    // flag, Windows searches the folder of the library in place of the folder of this program, as
    // it would for a host in the library's folder.
    (void)::SetDllDirectoryW(L"");
    const HMODULE library =
        ::LoadLibraryExW(task.library.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (library == nullptr) {
        return {WorkerAnswer::kLibraryNotLoaded, static_cast<std::int32_t>(::GetLastError())};
    }
    const LibraryFunction* const known = FindFunction(task.function);
    const FARPROC function = ::GetProcAddress(library, task.function.c_str());
    if (known == nullptr || function == nullptr) return {WorkerAnswer::kFunctionMissing, 0};
    return Call(function, known->results, task.argument);
}

// The pipe for the answer. Windows calls a filter without a parameter that could carry it.
HANDLE g_answerPipe = nullptr;

bool Answer(const WorkerAnswer& answer) {
    DWORD written = 0;
    const BOOL succeeded = ::WriteFile(g_answerPipe, &answer, sizeof(answer), &written, nullptr);
    return succeeded && written == sizeof(answer);
}

// Ends the process with the code of the exception, without a dialog and without a crash report. The
// process that waits for the answer reports what happened. Nothing is allocated here, because the
// reason may be that no memory is left.
LONG WINAPI EndAtOnce(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode == kCppExceptionCode) {
        (void)Answer({WorkerAnswer::kRaised, 0, ReadCppException(::GetCurrentProcess(), record)});
    }
    ::TerminateProcess(::GetCurrentProcess(), record.ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

// Windows looks at TMP first; other programs may look at TEMP only. The library and the processes
// that it starts inherit both.
void UseTemporaryDirectory(const std::wstring& path) {
    if (path.empty()) return;
    for (const wchar_t* variable : {L"TMP", L"TEMP"}) {
        ::SetEnvironmentVariableW(variable, path.c_str());
    }
}

}  // namespace

std::wstring WorkerArguments(const WorkerTask& task) {
    const std::wstring numbers = std::to_wstring(task.argument) + L" " +
                                 std::to_wstring(reinterpret_cast<std::uintptr_t>(task.answer));
    return FromUtf8(kWorkerCommand) + L" " + FromUtf8(task.function) + L" " + numbers + L" " +
           Quoted(task.library) + L" " + Quoted(task.temporaryDirectory);
}

std::optional<WorkerTask> ParseWorkerArguments(const std::vector<std::string>& arguments) {
    if (arguments.size() != 6 || arguments[0] != kWorkerCommand) return std::nullopt;
    const auto argument = ToNumber<std::int32_t>(arguments[2]);
    const auto answer = ToNumber<std::uintptr_t>(arguments[3]);
    if (!argument || !answer) return std::nullopt;
    return WorkerTask{.library = FromUtf8(arguments[4]),
                      .function = arguments[1],
                      .argument = *argument,
                      .temporaryDirectory = FromUtf8(arguments[5]),
                      .answer = reinterpret_cast<HANDLE>(*answer)};
}

int RunWorker(const WorkerTask& task) {
    // No message box may stop the worker: nobody may be there to close it.
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    g_answerPipe = task.answer;
    (void)::SetUnhandledExceptionFilter(EndAtOnce);
    // The library and this program use one C runtime, msvcrt.dll. Without a buffer in it, the
    // library's lines enter the pipe as they are written, in their order with its debugger output.
    (void)std::setvbuf(stdout, nullptr, _IONBF, 0);
    UseTemporaryDirectory(task.temporaryDirectory);

    return Answer(LoadAndCall(task)) ? 0 : 1;
}

}  // namespace ctl
