#pragma once

#include <windows.h>
#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <cwchar>
#include <string>

#include "support/call_hooks.h"

// The hooks of RecordedCalls for files and folders.

struct QuestionHooks {
    CallLog& log;
    HMODULE module;

    PathHook<"GetFileAttributesW", decltype(::GetFileAttributesW)> attributes{log, module};
    Hook<"PathFileExistsW", decltype(::PathFileExistsW)> exists{
        log, module, [this](BOOL there, const wchar_t* path) {
            log.Note(there ? "PathFileExistsW (there)" : "PathFileExistsW (missing)", path);
        }};
    // Recorded with the folder only, without the search pattern.
    Hook<"FindFirstFileW", decltype(::FindFirstFileW)> list{
        log, module, [this](HANDLE search, const std::wstring& pattern, auto) {
            const bool there = search != INVALID_HANDLE_VALUE;
            log.Note(there ? "FindFirstFileW (there)" : "FindFirstFileW (missing)",
                     pattern.substr(0, pattern.rfind(L'\\')));
        }};
};

struct FolderHooks {
    CallLog& log;
    HMODULE module;

    PathHook<"CreateDirectoryW", decltype(::CreateDirectoryW)> create{log, module};
    PathHook<"RemoveDirectoryW", decltype(::RemoveDirectoryW)> remove{log, module};
    Hook<"SHCreateDirectoryExW", decltype(::SHCreateDirectoryExW)> createWithParents{
        log, module, [this](int result, HWND, const wchar_t* path, auto) {
            const bool there = result == ERROR_ALREADY_EXISTS;
            log.Note(there ? "SHCreateDirectoryExW (there)" : "SHCreateDirectoryExW", path);
        }};
};

inline const char* WayOfOpening(DWORD access, DWORD disposition) {
    if (disposition == CREATE_ALWAYS) return "CreateFileW (create)";
    if (disposition != OPEN_EXISTING) return "CreateFileW (otherwise)";
    return (access & GENERIC_WRITE) != 0 ? "CreateFileW (change)" : "CreateFileW (read)";
}

inline const char* WayOfStreaming(DWORD mode, BOOL create) {
    if (mode == (STGM_CREATE | STGM_WRITE) && create) return "SHCreateStreamOnFileEx (create)";
    if (mode == STGM_READ && !create) return "SHCreateStreamOnFileEx (read)";
    return "SHCreateStreamOnFileEx (otherwise)";
}

struct FileHooks {
    CallLog& log;
    HMODULE module;
    Names<HANDLE> opened{};

    PathHook<"DeleteFileW", decltype(::DeleteFileW)> remove{log, module};
    PathHook<"SetFileAttributesW", decltype(::SetFileAttributesW)> setAttributes{log, module};
    Hook<"CreateFileW", decltype(::CreateFileW)> open{
        log, module,
        [this](HANDLE file, const wchar_t* path, DWORD access, DWORD, auto, DWORD disposition,
               auto...) {
            opened.Set(file, path);
            log.Note(WayOfOpening(access, disposition), path);
        }};
    Hook<"WriteFile", decltype(::WriteFile)> write{log, module, [this](BOOL, HANDLE file, auto...) {
                                                       log.Note("WriteFile", opened.Of(file));
                                                   }};
    Hook<"SetFileTime", decltype(::SetFileTime)> stamp{
        log, module,
        [this](BOOL, HANDLE file, auto...) { log.Note("SetFileTime", opened.Of(file)); }};
    Hook<"SHCreateStreamOnFileEx", decltype(::SHCreateStreamOnFileEx)> stream{
        log, module, [this](HRESULT, const wchar_t* path, DWORD mode, DWORD, BOOL create, auto...) {
            log.Note(WayOfStreaming(mode, create), path);
        }};
    Hook<"CopyFileW", decltype(::CopyFileW)> copy{
        log, module, [this](BOOL, const wchar_t* from, const wchar_t* to, BOOL keepsOldFile) {
            log.Note(keepsOldFile ? "CopyFileW (otherwise)" : "CopyFileW", from, to);
        }};
    Hook<"MoveFileExW", decltype(::MoveFileExW)> move{
        log, module, [this](BOOL, const wchar_t* from, const wchar_t* to, DWORD) {
            log.Note("MoveFileExW", from, to == nullptr ? L"" : to);
        }};
    Hook<"SHFileOperationW", decltype(::SHFileOperationW)> operate{
        log, module, [this](int, const SHFILEOPSTRUCTW* operation) {
            const bool deletes = operation->wFunc == FO_DELETE;
            const wchar_t* path = operation->pFrom;
            for (; *path != L'\0'; path += std::wcslen(path) + 1) {
                log.Note(deletes ? "SHFileOperationW (delete)" : "SHFileOperationW (otherwise)",
                         path);
            }
        }};
};
