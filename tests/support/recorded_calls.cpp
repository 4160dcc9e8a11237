#include "support/recorded_calls.h"

#include <winsock.h>
#include <aclapi.h>
#include <cfgmgr32.h>
#include <shlwapi.h>

#include <array>

#include "platform/unique_handle.h"
#include "support/call_hooks.h"
#include "support/file_call_hooks.h"

namespace {

std::wstring NameOfPrivilege(LUID privilege) {
    std::array<wchar_t, 64> name{};
    auto size = static_cast<DWORD>(name.size());
    const BOOL known = ::LookupPrivilegeNameW(nullptr, &privilege, name.data(), &size);
    return known ? name.data() : L"(unknown)";
}

struct RightsHooks {
    CallLog& log;
    HMODULE module;

    Hook<"OpenProcessToken", decltype(::OpenProcessToken)> open{
        log, module, [this](auto...) { log.Note("OpenProcessToken", L""); }};
    Hook<"LookupPrivilegeValueW", decltype(::LookupPrivilegeValueW)> lookUp{
        log, module,
        [this](BOOL, auto, const wchar_t* name, auto) { log.Note("LookupPrivilegeValueW", name); }};
    Hook<"AdjustTokenPrivileges", decltype(::AdjustTokenPrivileges)> adjust{
        log, module,
        [this](BOOL, HANDLE, BOOL disablesAll, const TOKEN_PRIVILEGES* changes, auto...) {
            if (disablesAll) return log.Note("AdjustTokenPrivileges (otherwise)", L"all");
            for (DWORD index = 0; index < changes->PrivilegeCount; ++index) {
                const LUID_AND_ATTRIBUTES& change = changes->Privileges[index];
                const bool enables = change.Attributes == SE_PRIVILEGE_ENABLED;
                log.Note(enables ? "AdjustTokenPrivileges (enable)"
                                 : "AdjustTokenPrivileges (otherwise)",
                         NameOfPrivilege(change.Luid));
            }
        }};
    Hook<"SetNamedSecurityInfoW", decltype(::SetNamedSecurityInfoW)> setSecurity{
        log, module, [this](DWORD, const wchar_t* path, auto, SECURITY_INFORMATION part, auto...) {
            const bool access = part == DACL_SECURITY_INFORMATION;
            log.Note(
                access ? "SetNamedSecurityInfoW (access)" : "SetNamedSecurityInfoW (otherwise)",
                path);
        }};
};

// The name of the program that a process runs.
std::wstring ProgramOf(DWORD id) {
    const UniqueHandle process(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    std::array<wchar_t, MAX_PATH> path{};
    auto size = static_cast<DWORD>(path.size());
    const BOOL known = ::QueryFullProcessImageNameW(process.Get(), 0, path.data(), &size);
    return known ? ::PathFindFileNameW(path.data()) : L"(unknown)";
}

struct ProcessHooks {
    CallLog& log;
    HMODULE module;
    Names<HANDLE> opened{};
    Names<HANDLE> started{};

    Hook<"OpenProcess", decltype(::OpenProcess)> open{
        log, module, [this](HANDLE process, DWORD, BOOL, DWORD id) {
            const std::wstring program = ProgramOf(id);
            opened.Set(process, program);
            log.Note("OpenProcess", program);
        }};
    Hook<"TerminateProcess", decltype(::TerminateProcess)> end{
        log, module,
        [this](BOOL, HANDLE process, UINT) { log.Note("TerminateProcess", opened.Of(process)); }};
    Hook<"CreateProcessW", decltype(::CreateProcessW)> start{
        log, module,
        [this](BOOL, auto, const wchar_t* commandLine, auto, auto, BOOL, DWORD, auto, auto, auto,
               const PROCESS_INFORMATION* process) {
            started.Set(process->hProcess, commandLine);
            log.Note("CreateProcessW", commandLine);
        }};
    // Recorded only for programs that the module started: a wait for a thread or a lock is not a
    // step of a call.
    Hook<"WaitForSingleObject", decltype(::WaitForSingleObject)> wait{
        log, module, [this](DWORD, HANDLE handle, DWORD timeout) {
            const std::wstring commandLine = started.Take(handle);
            if (commandLine.empty()) return;
            log.Note(timeout == INFINITE ? "WaitForSingleObject (without limit)"
                                         : "WaitForSingleObject (otherwise)",
                     commandLine);
        }};
};

// Answers instead of the configuration manager. Devices are numbered from 1.
struct DeviceHooks {
    DeviceHooks(CallLog& callLog, HMODULE module)
        : log(callLog),
          locate([this](DEVINST* device, const wchar_t* id, ULONG) { return Locate(device, id); },
                 module),
          rescan(
              [this](DEVINST device, ULONG) {
                  log.Note("CM_Reenumerate_DevNode", located.Of(device));
                  return CR_SUCCESS;
              },
              module) {
        log.AddFunction("CM_Locate_DevNodeW");
        log.AddFunction("CM_Reenumerate_DevNode");
    }

    CONFIGRET Locate(DEVINST* device, const wchar_t* id) {
        const std::wstring name = id == nullptr ? L"(root)" : id;
        *device = ++devices;
        located.Set(*device, name);
        log.Note("CM_Locate_DevNodeW", name);
        return CR_SUCCESS;
    }

    CallLog& log;
    DEVINST devices = 0;
    Names<DEVINST> located;
    FakeApi<"CM_Locate_DevNodeW", decltype(::CM_Locate_DevNodeW)> locate;
    FakeApi<"CM_Reenumerate_DevNode", decltype(::CM_Reenumerate_DevNode)> rescan;
};

std::wstring AddressText(const sockaddr* plain) {
    const auto* const address = reinterpret_cast<const sockaddr_in*>(plain);
    const std::string host = ::inet_ntoa(address->sin_addr);
    return std::wstring(host.begin(), host.end()) + L":" +
           std::to_wstring(::ntohs(address->sin_port));
}

struct SocketHooks {
    CallLog& log;
    HMODULE module;
    Names<SOCKET> peers{};

    Hook<"connect", decltype(::connect)> connect{
        log, module, [this](int, SOCKET socket, const sockaddr* address, int) {
            const std::wstring peer = AddressText(address);
            peers.Set(socket, peer);
            log.Note("connect", peer);
        }};
    Hook<"send", decltype(::send)> send{
        log, module, [this](int, SOCKET socket, auto...) { log.Note("send", peers.Of(socket)); }};
    Hook<"closesocket", decltype(::closesocket)> close{
        log, module, [this](int, SOCKET socket) { log.Note("closesocket", peers.Of(socket)); }};
    Hook<"gethostbyname", decltype(::gethostbyname)> lookUp{
        log, module, [this](auto, const std::string& host) {
            log.Note("gethostbyname", std::wstring(host.begin(), host.end()));
        }};
};

}  // namespace

struct RecordedCalls::Hooks {
    explicit Hooks(HMODULE recorded) : module(recorded) {}

    HMODULE module;
    CallLog log;
    QuestionHooks questions{log, module};
    FolderHooks folders{log, module};
    FileHooks files{log, module};
    RightsHooks rights{log, module};
    ProcessHooks processes{log, module};
    DeviceHooks devices{log, module};
    SocketHooks sockets{log, module};
};

RecordedCalls::RecordedCalls(HMODULE module) : hooks_(std::make_unique<Hooks>(module)) {}

RecordedCalls::~RecordedCalls() = default;

std::vector<RecordedCall> RecordedCalls::Calls() const {
    return hooks_->log.Calls();
}

std::set<std::string> RecordedCalls::Functions() const {
    return hooks_->log.Functions();
}
