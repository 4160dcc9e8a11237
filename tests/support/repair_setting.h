#pragma once

#include <windows.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "core/library_state.h"
#include "support/temporary_folder.h"
#include "support/wine.h"

// A temporary directory for one test, which Windows reports to this process while it lives.
class PrivateTemporaryDirectory {
public:
    PrivateTemporaryDirectory() {
        wchar_t old[MAX_PATH + 1] = {};
        ::GetEnvironmentVariableW(L"TMP", old, MAX_PATH);
        old_ = old;
        Set(folder.Path());
    }
    PrivateTemporaryDirectory(const PrivateTemporaryDirectory&) = delete;
    PrivateTemporaryDirectory& operator=(const PrivateTemporaryDirectory&) = delete;
    ~PrivateTemporaryDirectory() { Set(old_); }

    static void Set(const std::wstring& path) { ::SetEnvironmentVariableW(L"TMP", path.c_str()); }

    [[nodiscard]] std::wstring StagingFolder() const { return folder / L"mendloft"; }
    [[nodiscard]] std::wstring ArchiveFile() const { return folder / L"mendloft\\driver.7z"; }

    TemporaryFolder folder;

private:
    std::wstring old_;
};

// The driver-store root of the prefix: empty at first, and removed again afterwards.
class EmptyDriverStore {
public:
    EmptyDriverStore() { Make(); }
    // Needs no check: outside Wine the constructor throws.
    ~EmptyDriverStore() { RemoveTree(kRoot); }

    static void Make() {
        Clear();
        std::filesystem::create_directories(kRoot);
    }
    static void Clear() {
        if (!IsWine())
            throw std::logic_error("this would remove the driver store of a real machine");
        RemoveTree(kRoot);
    }

    [[nodiscard]] static std::wstring Folder(std::wstring_view name) {
        return kRoot + (L"\\" + std::wstring(name));
    }
    [[nodiscard]] static std::vector<std::wstring> Content() { return Tree(kRoot); }

    static constexpr const wchar_t* kRoot = L"C:\\Windows\\System32\\DriverStore\\FileRepository";
};

// Gives the library's data the values that it has after loading. The module is the test program.
class FreshLibraryState {
public:
    FreshLibraryState() {
        g_libraryModule = ::GetModuleHandleW(nullptr);
        StagedUsbInfPath.clear();
        StagedNetInfPath.clear();
    }
};
