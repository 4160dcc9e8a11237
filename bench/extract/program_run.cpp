#include "program_run.h"

#include <windows.h>

#include <stdexcept>

#include "platform/unique_handle.h"
#include "stopwatch.h"
#include "support/temporary_folder.h"

namespace {

// Creates a file that a child process can write its output to.
UniqueFile CreateInheritable(const std::wstring& path) {
    SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
    UniqueFile file(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) throw std::runtime_error("cannot create a file for a program's output");
    return file;
}

UniqueHandle Start(std::wstring commandLine, HANDLE output) {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    startup.hStdError = output;
    PROCESS_INFORMATION started{};
    if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                          &startup, &started)) {
        throw std::runtime_error("cannot start a program: error " +
                                 std::to_string(::GetLastError()));
    }
    ::CloseHandle(started.hThread);
    return UniqueHandle(started.hProcess);
}

void ExpectSuccess(HANDLE process, const std::wstring& outputPath) {
    DWORD code = 0;
    ::GetExitCodeProcess(process, &code);
    if (code == 0) return;
    throw std::runtime_error("a program ended with code " + std::to_string(code) + ":\n" +
                             FileContent(outputPath));
}

}  // namespace

ProgramRun RunProgram(const std::wstring& commandLine) {
    const TemporaryFolder folder;
    const std::wstring outputPath = folder / L"output";
    UniqueFile output = CreateInheritable(outputPath);

    UniqueHandle process;
    const double microseconds = Microseconds([&] {
        process = Start(commandLine, output.Get());
        ::WaitForSingleObject(process.Get(), INFINITE);
    });

    output.Reset();
    ExpectSuccess(process.Get(), outputPath);
    return {microseconds / 1000, FileContent(outputPath)};
}
