#pragma once

#include <windows.h>
#include <cfgmgr32.h>

#include <functional>
#include <string>
#include <vector>

#include "support/fake_api.h"

// Stands in for CreateProcessW and for the configuration manager, in the test program or in the
// module given. The process that it pretends to start has already ended.
class FakeInstaller {
public:
    explicit FakeInstaller(HMODULE module = ::GetModuleHandleW(nullptr))
        : create_([this](auto... arguments) { return OnCreate(arguments...); }, module),
          wait_([this](HANDLE handle, DWORD timeout) { return OnWait(handle, timeout); }, module),
          locate_(
              [this](DEVINST*, DEVINSTID_W, ULONG) {
                  Note("locate");
                  return locateResult;
              },
              module),
          reenumerate_(
              [this](DEVINST, ULONG) {
                  Note("reenumerate");
                  return reenumerateResult;
              },
              module) {}

    DWORD startError = ERROR_SUCCESS;  // any other value: the start fails with it
    CONFIGRET locateResult = CR_SUCCESS;
    CONFIGRET reenumerateResult = CR_SUCCESS;

    std::vector<std::string> calls;
    std::vector<std::wstring> commandLines;
    DWORD creationFlags = 0;
    DWORD waitTimeout = 0;
    STARTUPINFOW startup{};
    bool onlyTheCommandLineWasGiven = false;

    // The handles of the last process and thread; the code under test must close them.
    HANDLE process = nullptr, thread = nullptr;

private:
    void Note(const char* call) { calls.emplace_back(call); }

    BOOL OnCreate(const wchar_t* application, wchar_t* commandLine,
                  SECURITY_ATTRIBUTES* processSecurity, SECURITY_ATTRIBUTES* threadSecurity,
                  BOOL inherit, DWORD flags, void* environment, const wchar_t* folder,
                  STARTUPINFOW* info, PROCESS_INFORMATION* started) {
        Note("start");
        commandLines.emplace_back(commandLine);
        commandLine[0] = L'?';  // Windows may write into it
        onlyTheCommandLineWasGiven = application == nullptr && processSecurity == nullptr &&
                                     threadSecurity == nullptr && inherit == FALSE &&
                                     environment == nullptr && folder == nullptr;
        creationFlags = flags;
        startup = *info;
        ::SetLastError(startError);
        if (startError != ERROR_SUCCESS) return FALSE;
        process = started->hProcess = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
        thread = started->hThread = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
        return TRUE;
    }

    DWORD OnWait(HANDLE handle, DWORD timeout) {
        if (handle == process) {
            Note("wait");
            waitTimeout = timeout;
        }
        return wait_.Real(handle, timeout);
    }

    FakeApi<"CreateProcessW", decltype(::CreateProcessW)> create_;
    FakeApi<"WaitForSingleObject", decltype(::WaitForSingleObject)> wait_;
    FakeApi<"CM_Locate_DevNodeW", decltype(::CM_Locate_DevNodeW)> locate_;
    FakeApi<"CM_Reenumerate_DevNode", decltype(::CM_Reenumerate_DevNode)> reenumerate_;
};
