#include <windows.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

#include "mendloftctl/made_exception.h"

// A library with the exports of libmendloft.dll that does what the environment variable
// MENDLOFT_SCRIPT says, step by step, with a semicolon between two steps:
//
//     debug TEXT     writes TEXT to the debugger output channel
//     print TEXT     writes a line to standard output
//     put TEXT       writes TEXT there without ending the line
//     argument       writes the argument of the call to standard output
//     temp           writes the temporary directory to standard output
//     file NAME      makes a read-only file of that name there
//     start COMMAND  starts a process and writes its identifier to standard output
//     sleep MS       waits
//     crash          reads memory that is only reserved
//     end CODE       ends the process with that code, in hexadecimal
//     raise TYPE     raises a C++ exception of that type, in the form of the Microsoft ABI
//     com HRESULT    raises a _com_error with that result, in hexadecimal
//     range TEXT     raises a std::out_of_range with that message
//     damaged N      raises a C++ exception with the first N of three parameters that lead nowhere
//     handled        raises and handles a C++ exception
//     return NUMBER  what the call returns; 0 unless set

namespace {

std::wstring Wide(const std::string& text) {
    return {text.begin(), text.end()};
}

std::string TemporaryDirectory() {
    std::array<char, MAX_PATH + 1> path{};
    ::GetTempPathA(static_cast<DWORD>(path.size()), path.data());
    return path.data();
}

DWORD Hexadecimal(const std::string& text) {
    return std::stoul(text, nullptr, 16);
}

void MakeReadOnlyFile(const std::string& name) {
    const HANDLE file = ::CreateFileA((TemporaryDirectory() + name).c_str(), GENERIC_WRITE, 0,
                                      nullptr, CREATE_NEW, FILE_ATTRIBUTE_READONLY, nullptr);
    ::CloseHandle(file);
}

void Start(std::string commandLine) {
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started{};
    ::CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                     nullptr, nullptr, &startup, &started);
    std::printf("%lu\n", started.dwProcessId);
}

void Crash() {
    void* const reserved = ::VirtualAlloc(nullptr, 1, MEM_RESERVE, PAGE_NOACCESS);
    std::printf("%d\n", *static_cast<volatile const int*>(reserved));
}

constexpr DWORD kCppException = 0xE06D7363;

void Raise(const MadeException& exception) {
    const auto parameters = exception.Parameters();
    ::RaiseException(kCppException, EXCEPTION_NONCONTINUABLE, 3, parameters.data());
}

void RaiseComError(DWORD result) {
    MadeException exception(".?AV_com_error@@");
    exception.object[1] = result;
    Raise(exception);
}

void RaiseOutOfRange(const std::string& message) {
    MadeException exception(".?AVout_of_range@std@@");
    exception.object[1] = reinterpret_cast<std::uintptr_t>(message.c_str());
    Raise(exception);
}

void RaiseDamaged(DWORD count) {
    const std::array<ULONG_PTR, 3> parameters{0x19930520, 0x41414141, 0x42424242};
    ::RaiseException(kCppException, EXCEPTION_NONCONTINUABLE, count, parameters.data());
}

LONG WINAPI ContinueAfterCppException(EXCEPTION_POINTERS* exception) {
    return exception->ExceptionRecord->ExceptionCode == kCppException ? EXCEPTION_CONTINUE_EXECUTION
                                                                      : EXCEPTION_CONTINUE_SEARCH;
}

void RaiseAndHandle() {
    void* const handler = ::AddVectoredExceptionHandler(1, ContinueAfterCppException);
    const MadeException exception(".?AV_com_error@@");
    ::RaiseException(kCppException, 0, 3, exception.Parameters().data());
    ::RemoveVectoredExceptionHandler(handler);
}

class Script {
public:
    explicit Script(std::int32_t argument) : argument_(argument) {}

    std::int32_t Run() {
        const char* const text = std::getenv("MENDLOFT_SCRIPT");
        std::istringstream steps(text == nullptr ? "" : text);
        for (std::string step; std::getline(steps, step, ';');) {
            const std::size_t blank = step.find(' ');
            Do(step.substr(0, blank), blank == std::string::npos ? "" : step.substr(blank + 1));
        }
        return result_;
    }

private:
    void Do(const std::string& action, const std::string& text) {
        if (action == "debug") ::OutputDebugStringW(Wide(text).c_str());
        if (action == "print") std::printf("%s\n", text.c_str());
        if (action == "put") std::printf("%s", text.c_str());
        if (action == "argument") std::printf("%d\n", static_cast<int>(argument_));
        if (action == "temp") std::printf("%s\n", TemporaryDirectory().c_str());
        if (action == "file") MakeReadOnlyFile(text);
        if (action == "start") Start(text);
        if (action == "sleep") ::Sleep(static_cast<DWORD>(std::stoul(text)));
        if (action == "crash") Crash();
        if (action == "end") ::TerminateProcess(::GetCurrentProcess(), Hexadecimal(text));
        if (action == "raise") Raise(MadeException(text));
        if (action == "com") RaiseComError(Hexadecimal(text));
        if (action == "range") RaiseOutOfRange(text);
        if (action == "damaged") RaiseDamaged(static_cast<DWORD>(std::stoul(text)));
        if (action == "handled") RaiseAndHandle();
        if (action == "return") result_ = std::stoi(text);
    }

    std::int32_t argument_;
    std::int32_t result_ = 0;
};

}  // namespace

extern "C" {

__declspec(dllexport) std::int32_t MendloftFolder(std::int32_t repair) {
    return Script(repair).Run();
}

__declspec(dllexport) std::int32_t SetUpUSBDriver(std::int32_t repair) {
    return Script(repair).Run();
}

// A boolean of one byte. The upper bytes are not zero, because a compiler may leave them undefined.
__declspec(dllexport) std::int32_t AMDPortTest(std::int32_t port) {
    return 0x55AA'0000 | Script(port).Run();
}

}  // extern "C"
