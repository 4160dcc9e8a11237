#pragma once

#include <windows.h>

// A path, long enough for everything here. What does not fit is cut.
struct Path {
    wchar_t text[MAX_PATH + 1] = {};

    Path operator+(const wchar_t* rest) const {
        Path sum = *this;
        int length = 0;
        while (sum.text[length] != L'\0') ++length;
        for (; *rest != L'\0' && length < MAX_PATH; ++rest) sum.text[length++] = *rest;
        sum.text[length] = L'\0';
        return sum;
    }
};

inline Path PathOf(const wchar_t* text) {
    return Path() + text;
}

// The file `name` beside the host's program.
inline Path BesideTheProgram(const wchar_t* name) {
    Path path;
    int length = static_cast<int>(::GetModuleFileNameW(nullptr, path.text, MAX_PATH));
    while (length > 0 && path.text[length - 1] != L'\\') --length;
    path.text[length] = L'\0';
    return path + name;
}

inline bool Exists(const Path& path) {
    return ::GetFileAttributesW(path.text) != INVALID_FILE_ATTRIBUTES;
}

// Removes a folder with everything below it, read-only files included.
inline void RemoveTree(const Path& folder) {
    WIN32_FIND_DATAW entry = {};
    const HANDLE search = ::FindFirstFileW((folder + L"\\*").text, &entry);
    if (search == INVALID_HANDLE_VALUE) return;
    do {
        if (::lstrcmpW(entry.cFileName, L".") == 0 || ::lstrcmpW(entry.cFileName, L"..") == 0)
            continue;
        const Path path = folder + L"\\" + entry.cFileName;
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            RemoveTree(path);
        } else {
            (void)::SetFileAttributesW(path.text, FILE_ATTRIBUTE_NORMAL);
            (void)::DeleteFileW(path.text);
        }
    } while (::FindNextFileW(search, &entry));
    (void)::FindClose(search);
    (void)::RemoveDirectoryW(folder.text);
}

// The hosts rebuild the driver store, so they run only where it is that of a Wine prefix.
inline bool IsWine() {
    return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

// A temporary directory for this process, which the library uses while this object lives, and a
// driver store that is empty at first. The destructor removes both.
class Setting {
public:
    Setting() {
        (void)::GetTempPathW(MAX_PATH, folder_.text);
        wchar_t name[40];
        (void)::wsprintfW(name, L"mendloft-host-%u", static_cast<unsigned>(GetCurrentProcessId()));
        folder_ = folder_ + name;
        RemoveTree(folder_);  // left by a process that was ended
        (void)::CreateDirectoryW(folder_.text, nullptr);
        (void)::GetEnvironmentVariableW(L"TMP", old_.text, MAX_PATH);
        (void)::SetEnvironmentVariableW(L"TMP", folder_.text);
        Clear();
    }
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;
    ~Setting() {
        (void)::SetEnvironmentVariableW(L"TMP", old_.text);
        RemoveTree(folder_);
        RemoveTree(PathOf(kStore));
    }

    // Removes what calls have left, so that the next one finds what the first one found. Wine's
    // shell does not delete the read-only file of an archive that was unpacked before.
    void Clear() const {
        RemoveTree(Staging());
        RemoveTree(PathOf(kStore));
        (void)::CreateDirectoryW(kStoreParent, nullptr);
        (void)::CreateDirectoryW(kStore, nullptr);
    }

    // A file for this host.
    [[nodiscard]] Path File(const wchar_t* name) const { return folder_ + L"\\" + name; }
    // Where the library unpacks its driver archive, and the archive itself.
    [[nodiscard]] Path Staging() const { return File(L"mendloft"); }
    [[nodiscard]] Path StagedArchive() const { return File(L"mendloft\\driver.7z"); }

    // Whether the driver store contains a folder of the USB driver.
    [[nodiscard]] static bool StoreIsFilled() {
        WIN32_FIND_DATAW entry = {};
        const HANDLE search = ::FindFirstFileW((PathOf(kStore) + L"\\usbaapl*").text, &entry);
        if (search == INVALID_HANDLE_VALUE) return false;
        (void)::FindClose(search);
        return true;
    }

private:
    static constexpr const wchar_t* kStoreParent = L"C:\\Windows\\System32\\DriverStore";
    static constexpr const wchar_t* kStore = L"C:\\Windows\\System32\\DriverStore\\FileRepository";

    Path folder_;
    Path old_;
};
