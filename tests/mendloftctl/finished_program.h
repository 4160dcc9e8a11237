#pragma once

#include <windows.h>

#include <string>

#include "platform/unique_handle.h"
#include "support/child_process.h"
#include "support/temporary_folder.h"

// The output and the exit code of one run of the finished mendloftctl.exe.
struct ProgramRun {
    std::string output;  // of standard output
    std::string notes;   // of standard error
    DWORD status = 0;
};

[[nodiscard]] inline std::wstring MendloftCtl() {
    return ProgramFolder() + L"\\mendloftctl.exe";
}

[[nodiscard]] inline std::wstring ScriptedLibrary() {
    return ProgramFolder() + L"\\scripted_library.dll";
}

// Tells the scripted library what to do while it lives.
class Script {
public:
    explicit Script(const std::wstring& steps) {
        ::SetEnvironmentVariableW(L"MENDLOFT_SCRIPT", steps.c_str());
    }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;
    ~Script() { ::SetEnvironmentVariableW(L"MENDLOFT_SCRIPT", nullptr); }
};

// Runs the program with those arguments and waits for its end.
[[nodiscard]] inline ProgramRun RunMendloftCtl(const std::wstring& arguments) {
    const TemporaryFolder folder;
    SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
    const auto create = [&](const wchar_t* name) {
        return UniqueFile(::CreateFileW((folder / name).c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                        &inheritable, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    };
    UniqueFile output = create(L"output");
    UniqueFile notes = create(L"notes");
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output.Get();
    startup.hStdError = notes.Get();
    std::wstring commandLine = L"\"" + MendloftCtl() + L"\" " + arguments;
    PROCESS_INFORMATION started{};
    if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                          &startup, &started)) {
        throw std::runtime_error("mendloftctl.exe cannot be started");
    }
    output.Reset();
    notes.Reset();
    const UniqueHandle thread(started.hThread);
    const UniqueHandle process(started.hProcess);
    ProgramRun run;
    if (::WaitForSingleObject(process.Get(), 60'000) != WAIT_OBJECT_0)
        throw std::runtime_error("mendloftctl.exe does not end");
    ::GetExitCodeProcess(process.Get(), &run.status);
    run.output = FileContent(folder / L"output");
    run.notes = FileContent(folder / L"notes");
    return run;
}
