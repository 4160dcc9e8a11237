#include "mendloftctl/worker.h"

#include <charconv>
#include <cstdio>

#include "common/text.h"
#include "mendloftctl/library_functions.h"

namespace ctl {

using tools::FromUtf8;

namespace {

template <typename Number>
std::optional<Number> ToNumber(const std::string& text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// No quotes can be in a path; a backslash at its end would take the closing one for itself.
std::wstring Quoted(const std::wstring& path) {
    return L"\"" + path + (path.ends_with(L'\\') ? L"\\\"" : L"\"");
}

WorkerAnswer Call(FARPROC function, ResultKind results, std::int32_t argument) {
    auto* const address = reinterpret_cast<void*>(function);
    const std::int32_t value = results == ResultKind::kPort
                                   ? reinterpret_cast<PortFunction>(address)(argument)
                                   : reinterpret_cast<RepairFunction>(address)(argument);
    return {WorkerAnswer::kReturned, value};
}

WorkerAnswer LoadAndCall(const WorkerTask& task) {
    // What the library needs comes from its own folder and the system's, never from the current
    // one.
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

// Ends the process with the number of the exception and without asking or telling anybody: whoever
// waits for the answer knows what that means.
LONG WINAPI EndAtOnce(EXCEPTION_POINTERS* exception) {
    ::TerminateProcess(::GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

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
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    (void)::SetUnhandledExceptionFilter(EndAtOnce);
    // The library's lines are to be seen when it writes them; its C runtime is ours.
    (void)std::setvbuf(stdout, nullptr, _IONBF, 0);
    UseTemporaryDirectory(task.temporaryDirectory);

    const WorkerAnswer answer = LoadAndCall(task);
    DWORD written = 0;
    const BOOL told = ::WriteFile(task.answer, &answer, sizeof(answer), &written, nullptr);
    return told && written == sizeof(answer) ? 0 : 1;
}

}  // namespace ctl
