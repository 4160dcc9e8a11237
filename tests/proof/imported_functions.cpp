#include "proof/imported_functions.h"

#include <winsock.h>
#include <windows.h>
#include <aclapi.h>
#include <cfgmgr32.h>
#include <io.h>
#include <process.h>
#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>
#include <tlhelp32.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <vector>

namespace {

using Kind = ImportedFunction::Kind;

template <FunctionName Name, typename Function, typename Value>
ImportedFunction Row(Kind kind, Value value, DWORD lastError, Failing manner) {
    using Standing = FailingCall<Name, Function>;
    Standing::failure = {value, lastError, manner};
    Standing::plan.allocates = kind == Kind::kMemory;
    return {.name = Name.text,
            .kind = kind,
            .standIn = reinterpret_cast<void*>(&Standing::Call),
            .original = &Standing::original,
            .plan = &Standing::plan};
}

template <FunctionName Name, typename Function, typename Value>
ImportedFunction Fails(Value value, DWORD lastError) {
    return Row<Name, Function>(Kind::kCall, value, lastError, Failing::kInstead);
}

template <FunctionName Name, typename Function, typename Value>
ImportedFunction FailsAfterItsWork(Value value, DWORD lastError) {
    return Row<Name, Function>(Kind::kCall, value, lastError, Failing::kAfter);
}

template <FunctionName Name, typename Function, typename Value>
ImportedFunction RunsOutOfMemory(Value value) {
    return Row<Name, Function>(Kind::kMemory, value, ERROR_NOT_ENOUGH_MEMORY, Failing::kInstead);
}

constexpr const char* kNoFailure = "cannot report a failure";
constexpr const char* kPure = "computes from its arguments alone";
constexpr const char* kEnds = "does not return";
constexpr const char* kData = "is a variable";
constexpr const char* kAtLoad = "runs at load, before a stand-in can be installed";

ImportedFunction Safe(std::string_view name, const char* reason) {
    return {.name = name, .reason = reason};
}

std::vector<ImportedFunction> MakeTable() {  // NOLINT(readability-function-size): one table
    const HANDLE none = nullptr;
    const HANDLE invalid = INVALID_HANDLE_VALUE;
    void* const notFreed = reinterpret_cast<void*>(1);
    return {
        // advapi32
        Fails<"AdjustTokenPrivileges", decltype(::AdjustTokenPrivileges)>(FALSE,
                                                                          ERROR_ACCESS_DENIED),
        Fails<"AllocateAndInitializeSid", decltype(::AllocateAndInitializeSid)>(
            FALSE, ERROR_NOT_ENOUGH_MEMORY),
        FailsAfterItsWork<"FreeSid", decltype(::FreeSid)>(notFreed, ERROR_INVALID_SID),
        Fails<"LookupPrivilegeValueW", decltype(::LookupPrivilegeValueW)>(FALSE,
                                                                          ERROR_NO_SUCH_PRIVILEGE),
        Fails<"OpenProcessToken", decltype(::OpenProcessToken)>(FALSE, ERROR_ACCESS_DENIED),
        Fails<"SetEntriesInAclW", decltype(::SetEntriesInAclW)>(DWORD{ERROR_NOT_ENOUGH_MEMORY},
                                                                ERROR_SUCCESS),
        Fails<"SetNamedSecurityInfoW", decltype(::SetNamedSecurityInfoW)>(
            DWORD{ERROR_ACCESS_DENIED}, ERROR_SUCCESS),

        // kernel32: files and folders
        Fails<"CopyFileW", decltype(::CopyFileW)>(FALSE, ERROR_ACCESS_DENIED),
        Fails<"CreateDirectoryW", decltype(::CreateDirectoryW)>(FALSE, ERROR_ACCESS_DENIED),
        Fails<"CreateFileW", decltype(::CreateFileW)>(invalid, ERROR_SHARING_VIOLATION),
        Fails<"DeleteFileW", decltype(::DeleteFileW)>(FALSE, ERROR_ACCESS_DENIED),
        FailsAfterItsWork<"FindClose", decltype(::FindClose)>(FALSE, ERROR_INVALID_HANDLE),
        Fails<"FindFirstFileW", decltype(::FindFirstFileW)>(invalid, ERROR_ACCESS_DENIED),
        Fails<"FindNextFileW", decltype(::FindNextFileW)>(FALSE, ERROR_ACCESS_DENIED),
        Fails<"GetFileAttributesW", decltype(::GetFileAttributesW)>(INVALID_FILE_ATTRIBUTES,
                                                                    ERROR_ACCESS_DENIED),
        Fails<"GetTempPathW", decltype(::GetTempPathW)>(DWORD{0}, ERROR_NOT_ENOUGH_MEMORY),
        Fails<"MoveFileExW", decltype(::MoveFileExW)>(FALSE, ERROR_ACCESS_DENIED),
        Fails<"RemoveDirectoryW", decltype(::RemoveDirectoryW)>(FALSE, ERROR_DIR_NOT_EMPTY),
        Fails<"SetFileAttributesW", decltype(::SetFileAttributesW)>(FALSE, ERROR_ACCESS_DENIED),
        Fails<"SetFileTime", decltype(::SetFileTime)>(FALSE, ERROR_ACCESS_DENIED),
        Fails<"WriteFile", decltype(::WriteFile)>(FALSE, ERROR_DISK_FULL),

        // kernel32: times
        Fails<"DosDateTimeToFileTime", decltype(::DosDateTimeToFileTime)>(FALSE,
                                                                          ERROR_INVALID_PARAMETER),
        Fails<"FileTimeToDosDateTime", decltype(::FileTimeToDosDateTime)>(FALSE,
                                                                          ERROR_INVALID_PARAMETER),
        Fails<"FileTimeToLocalFileTime", decltype(::FileTimeToLocalFileTime)>(
            FALSE, ERROR_INVALID_PARAMETER),
        Fails<"LocalFileTimeToFileTime", decltype(::LocalFileTimeToFileTime)>(
            FALSE, ERROR_INVALID_PARAMETER),
        Safe("CompareFileTime", kPure),
        Safe("GetSystemTimeAsFileTime", kNoFailure),
        Safe("GetTickCount", kNoFailure),
        Safe("QueryPerformanceCounter", "never fails on Windows XP and later, as documented"),

        // kernel32: modules and resources
        Fails<"FindResourceW", decltype(::FindResourceW)>(HRSRC{nullptr},
                                                          ERROR_RESOURCE_NAME_NOT_FOUND),
        Fails<"GetModuleFileNameW", decltype(::GetModuleFileNameW)>(DWORD{0}, ERROR_INVALID_HANDLE),
        Fails<"GetModuleHandleA", decltype(::GetModuleHandleA)>(HMODULE{nullptr},
                                                                ERROR_MOD_NOT_FOUND),
        Fails<"GetModuleHandleExA", decltype(::GetModuleHandleExA)>(FALSE, ERROR_MOD_NOT_FOUND),
        Fails<"GetModuleHandleExW", decltype(::GetModuleHandleExW)>(FALSE, ERROR_MOD_NOT_FOUND),
        Fails<"GetModuleHandleW", decltype(::GetModuleHandleW)>(HMODULE{nullptr},
                                                                ERROR_MOD_NOT_FOUND),
        Fails<"GetProcAddress", decltype(::GetProcAddress)>(FARPROC{nullptr}, ERROR_PROC_NOT_FOUND),
        FailsAfterItsWork<"FreeLibrary", decltype(::FreeLibrary)>(FALSE, ERROR_INVALID_HANDLE),
        Fails<"LoadLibraryA", decltype(::LoadLibraryA)>(HMODULE{nullptr}, ERROR_MOD_NOT_FOUND),
        Fails<"LoadLibraryW", decltype(::LoadLibraryW)>(HMODULE{nullptr}, ERROR_MOD_NOT_FOUND),
        Fails<"LoadResource", decltype(::LoadResource)>(HGLOBAL{nullptr},
                                                        ERROR_RESOURCE_DATA_NOT_FOUND),
        Fails<"LockResource", decltype(::LockResource)>(static_cast<void*>(nullptr), ERROR_SUCCESS),
        Fails<"SizeofResource", decltype(::SizeofResource)>(DWORD{0},
                                                            ERROR_RESOURCE_DATA_NOT_FOUND),

        // kernel32: processes, threads and what they wait for
        FailsAfterItsWork<"CloseHandle", decltype(::CloseHandle)>(FALSE, ERROR_INVALID_HANDLE),
        Fails<"CreateEventW", decltype(::CreateEventW)>(none, ERROR_NOT_ENOUGH_MEMORY),
        Fails<"CreateProcessW", decltype(::CreateProcessW)>(FALSE, ERROR_FILE_NOT_FOUND),
        Fails<"CreateSemaphoreW", decltype(::CreateSemaphoreW)>(none, ERROR_NOT_ENOUGH_MEMORY),
        Fails<"CreateThread", decltype(::CreateThread)>(none, ERROR_NOT_ENOUGH_MEMORY),
        Fails<"CreateToolhelp32Snapshot", decltype(::CreateToolhelp32Snapshot)>(invalid,
                                                                                ERROR_BAD_LENGTH),
        Fails<"GetProcessAffinityMask", decltype(::GetProcessAffinityMask)>(FALSE,
                                                                            ERROR_ACCESS_DENIED),
        Fails<"OpenProcess", decltype(::OpenProcess)>(none, ERROR_ACCESS_DENIED),
        Fails<"Process32FirstW", decltype(::Process32FirstW)>(FALSE, ERROR_NO_MORE_FILES),
        Fails<"Process32NextW", decltype(::Process32NextW)>(FALSE, ERROR_NO_MORE_FILES),
        Fails<"ReleaseSemaphore", decltype(::ReleaseSemaphore)>(FALSE, ERROR_TOO_MANY_POSTS),
        Fails<"ResetEvent", decltype(::ResetEvent)>(FALSE, ERROR_INVALID_HANDLE),
        Fails<"ResumeThread", decltype(::ResumeThread)>(static_cast<DWORD>(-1),
                                                        ERROR_ACCESS_DENIED),
        Fails<"SetEvent", decltype(::SetEvent)>(FALSE, ERROR_INVALID_HANDLE),
        Fails<"SetThreadAffinityMask", decltype(::SetThreadAffinityMask)>(DWORD_PTR{0},
                                                                          ERROR_ACCESS_DENIED),
        Fails<"TerminateProcess", decltype(::TerminateProcess)>(FALSE, ERROR_ACCESS_DENIED),
        Fails<"TryEnterCriticalSection", decltype(::TryEnterCriticalSection)>(FALSE, ERROR_SUCCESS),
        Fails<"WaitForSingleObject", decltype(::WaitForSingleObject)>(WAIT_FAILED,
                                                                      ERROR_INVALID_HANDLE),
        Safe("DeleteCriticalSection", kNoFailure),
        Safe("EnterCriticalSection", kNoFailure),
        Safe("GetCurrentProcess", kNoFailure),
        Safe("GetCurrentProcessId", kNoFailure),
        Safe("GetCurrentThreadId", kNoFailure),
        Safe("InitializeCriticalSection", kNoFailure),
        Safe("LeaveCriticalSection", kNoFailure),
        Safe("Sleep", kNoFailure),
        Safe("TlsGetValue", "returns null for a failure and for an empty slot alike"),

        // kernel32: memory
        RunsOutOfMemory<"VirtualAlloc", decltype(::VirtualAlloc)>(static_cast<void*>(nullptr)),
        FailsAfterItsWork<"LocalFree", decltype(::LocalFree)>(notFreed, ERROR_INVALID_HANDLE),
        FailsAfterItsWork<"VirtualFree", decltype(::VirtualFree)>(FALSE, ERROR_INVALID_ADDRESS),
        Fails<"VirtualProtect", decltype(::VirtualProtect)>(FALSE, ERROR_INVALID_ADDRESS),
        Fails<"VirtualQuery", decltype(::VirtualQuery)>(SIZE_T{0}, ERROR_INVALID_ADDRESS),
        Safe("GlobalMemoryStatus", kNoFailure),

        // kernel32: the rest
        Fails<"FormatMessageA", decltype(::FormatMessageA)>(DWORD{0}, ERROR_MR_MID_NOT_FOUND),
        Fails<"FormatMessageW", decltype(::FormatMessageW)>(DWORD{0}, ERROR_MR_MID_NOT_FOUND),
        Fails<"GetVersionExW", decltype(::GetVersionExW)>(FALSE, ERROR_INSUFFICIENT_BUFFER),
        Fails<"MultiByteToWideChar", decltype(::MultiByteToWideChar)>(0,
                                                                      ERROR_NO_UNICODE_TRANSLATION),
        Fails<"WideCharToMultiByte", decltype(::WideCharToMultiByte)>(0,
                                                                      ERROR_NO_UNICODE_TRANSLATION),
        Safe("GetLastError", kNoFailure),
        Safe("GetSystemInfo", kNoFailure),
        Safe("GetVersion", kNoFailure),
        Safe("IsDBCSLeadByteEx", kPure),
        Safe("IsProcessorFeaturePresent", kNoFailure),
        Safe("OutputDebugStringW", kNoFailure),
        Safe("RaiseException", kEnds),
        Safe("SetLastError", kNoFailure),

        // msvcrt: memory
        RunsOutOfMemory<"calloc", decltype(::calloc)>(static_cast<void*>(nullptr)),
        RunsOutOfMemory<"malloc", decltype(::malloc)>(static_cast<void*>(nullptr)),
        RunsOutOfMemory<"realloc", decltype(::realloc)>(static_cast<void*>(nullptr)),
        Safe("free", kNoFailure),

        // msvcrt: output and files
        Fails<"_close", decltype(::_close)>(-1, ERROR_INVALID_HANDLE),
        Fails<"_read", decltype(::_read)>(-1, ERROR_INVALID_HANDLE),
        Fails<"_write", decltype(::_write)>(-1, ERROR_DISK_FULL),
        Fails<"fputc", decltype(::fputc)>(EOF, ERROR_DISK_FULL),
        Fails<"fputs", decltype(::fputs)>(EOF, ERROR_DISK_FULL),
        Fails<"fwrite", decltype(::fwrite)>(std::size_t{0}, ERROR_DISK_FULL),
        Fails<"vfprintf", decltype(::vfprintf)>(-1, ERROR_DISK_FULL),
        Fails<"vfwprintf", decltype(::__ms_vfwprintf)>(-1, ERROR_DISK_FULL),

        // msvcrt: text and time
        Fails<"_localtime64", decltype(::_localtime64)>(static_cast<std::tm*>(nullptr),
                                                        ERROR_SUCCESS),
        Fails<"_time64", decltype(::_time64)>(__time64_t{-1}, ERROR_SUCCESS),
        Fails<"_vsnprintf", decltype(::_vsnprintf)>(-1, ERROR_SUCCESS),
        Fails<"_vsnwprintf", decltype(::_vsnwprintf)>(-1, ERROR_SUCCESS),
        Fails<"setlocale", decltype(::setlocale)>(static_cast<char*>(nullptr), ERROR_SUCCESS),
        Fails<"wcsftime", decltype(::wcsftime)>(std::size_t{0}, ERROR_SUCCESS),
        Safe("_wcsicmp", kPure),
        Safe("atoi", kPure),
        Safe("localeconv", kNoFailure),
        Safe("memchr", kPure),
        Safe("memcmp", kPure),
        Safe("memcpy", kPure),
        Safe("memmove", kPure),
        Safe("memset", kPure),
        Safe("strchr", kPure),
        Safe("strcmp", kPure),
        Safe("strerror", kNoFailure),
        Safe("strlen", kPure),
        Safe("strncmp", kPure),
        Safe("strncpy", kPure),
        Safe("strstr", kPure),
        Safe("strtoul", kPure),
        Safe("wcscmp", kPure),
        Safe("wcslen", kPure),
        Safe("wcsstr", kPure),

        // msvcrt: process and threads
        Fails<"_beginthreadex", decltype(::_beginthreadex)>(std::uintptr_t{0},
                                                            ERROR_NOT_ENOUGH_MEMORY),
        Safe("__mb_cur_max", kData),
        Safe("_amsg_exit", kEnds),
        Safe("_errno", kNoFailure),
        Safe("_initterm", kAtLoad),
        Safe("_iob", kData),
        Safe("_lock", kNoFailure),
        Safe("_unlock", kNoFailure),
        Safe("abort", kEnds),
        Safe("getenv", kAtLoad),

        // ole32 and oleaut32
        FailsAfterItsWork<"PropVariantClear", decltype(::PropVariantClear)>(E_INVALIDARG,
                                                                            ERROR_SUCCESS),
        RunsOutOfMemory<"SysAllocString", decltype(::SysAllocString)>(BSTR{nullptr}),
        RunsOutOfMemory<"SysAllocStringByteLen", decltype(::SysAllocStringByteLen)>(BSTR{nullptr}),
        RunsOutOfMemory<"SysAllocStringLen", decltype(::SysAllocStringLen)>(BSTR{nullptr}),
        FailsAfterItsWork<"VariantClear", decltype(::VariantClear)>(DISP_E_ARRAYISLOCKED,
                                                                    ERROR_SUCCESS),
        RunsOutOfMemory<"VariantCopy", decltype(::VariantCopy)>(E_OUTOFMEMORY),
        Safe("SysFreeString", kNoFailure),
        Safe("SysStringLen", kPure),

        // setupapi, shell32, shlwapi and user32
        Fails<"CM_Locate_DevNodeW", decltype(::CM_Locate_DevNodeW)>(CONFIGRET{CR_NO_SUCH_DEVNODE},
                                                                    ERROR_SUCCESS),
        Fails<"CM_Reenumerate_DevNode", decltype(::CM_Reenumerate_DevNode)>(CONFIGRET{CR_FAILURE},
                                                                            ERROR_SUCCESS),
        Fails<"PathFileExistsW", decltype(::PathFileExistsW)>(FALSE, ERROR_FILE_NOT_FOUND),
        Fails<"PathRemoveFileSpecW", decltype(::PathRemoveFileSpecW)>(FALSE, ERROR_SUCCESS),
        Fails<"SHCreateDirectoryExW", decltype(::SHCreateDirectoryExW)>(int{ERROR_ACCESS_DENIED},
                                                                        ERROR_SUCCESS),
        Fails<"SHCreateStreamOnFileEx", decltype(::SHCreateStreamOnFileEx)>(E_ACCESSDENIED,
                                                                            ERROR_ACCESS_DENIED),
        Fails<"SHFileOperationW", decltype(::SHFileOperationW)>(int{ERROR_ACCESS_DENIED},
                                                                ERROR_SUCCESS),
        Fails<"SHGetSpecialFolderPathW", decltype(::SHGetSpecialFolderPathW)>(FALSE,
                                                                              ERROR_FILE_NOT_FOUND),
        Safe("CharPrevExA", kPure),
        Safe("CharUpperW", kPure),

        // wsock32
        Fails<"WSAStartup", decltype(::WSAStartup)>(WSASYSNOTREADY, ERROR_SUCCESS),
        FailsAfterItsWork<"closesocket", decltype(::closesocket)>(SOCKET_ERROR, WSAENETDOWN),
        Fails<"connect", decltype(::connect)>(SOCKET_ERROR, WSAETIMEDOUT),
        Fails<"gethostbyname", decltype(::gethostbyname)>(static_cast<hostent*>(nullptr),
                                                          WSAHOST_NOT_FOUND),
        Fails<"inet_addr", decltype(::inet_addr)>(INADDR_NONE, ERROR_SUCCESS),
        Fails<"recv", decltype(::recv)>(SOCKET_ERROR, WSAECONNRESET),
        Fails<"send", decltype(::send)>(SOCKET_ERROR, WSAECONNRESET),
        Fails<"socket", decltype(::socket)>(INVALID_SOCKET, WSAEMFILE),
        Safe("WSAGetLastError", kNoFailure),
        Safe("htons", kPure),
    };
}

}  // namespace

std::span<const ImportedFunction> ImportedFunctions() {
    static const std::vector<ImportedFunction> table = MakeTable();
    return table;
}
