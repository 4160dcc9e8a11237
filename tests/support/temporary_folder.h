#pragma once

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// Removes a file or folder with everything below it, read-only files included.
inline void RemoveTree(const std::filesystem::path& path) {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path, ignored)) {
        ::SetFileAttributesW(entry.path().c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    std::filesystem::remove_all(path, ignored);
}

// A folder for one test: empty at first, and removed afterwards with everything in it, read-only
// files included.
class TemporaryFolder {
public:
    TemporaryFolder() {
        static std::atomic<unsigned> count{0};
        path_ = std::filesystem::temp_directory_path() /
                (L"mendloft-test-" + std::to_wstring(::GetCurrentProcessId()) + L"-" +
                 std::to_wstring(++count));
        RemoveTree(path_);  // left by a killed process with the same identifier
        std::filesystem::create_directory(path_);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() { RemoveTree(path_); }

    // Without a trailing separator.
    [[nodiscard]] std::wstring Path() const { return path_.wstring(); }
    [[nodiscard]] std::wstring Path(std::wstring_view name) const { return *this / name; }
    [[nodiscard]] std::wstring operator/(std::wstring_view name) const {
        return path_.wstring() + L"\\" + std::wstring(name);
    }

private:
    std::filesystem::path path_;
};

inline void WriteFileContent(const std::wstring& path, std::string_view bytes = "x") {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(std::filesystem::path(path), std::ios::binary) << bytes;
}

[[nodiscard]] inline std::string FileContent(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

[[nodiscard]] inline bool Exists(const std::wstring& path) {
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// The paths of everything below a folder, relative to it, sorted.
[[nodiscard]] inline std::vector<std::wstring> Tree(const std::wstring& folder) {
    std::vector<std::wstring> names;
    std::error_code missing;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, missing)) {
        names.push_back(entry.path().wstring().substr(folder.size() + 1));
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The files and folders below a folder, by their paths relative to it, and what the files hold.
[[nodiscard]] inline std::map<std::wstring, std::string> TreeContent(const std::wstring& folder) {
    std::map<std::wstring, std::string> tree;
    for (const std::wstring& name : Tree(folder)) {
        const std::wstring path = folder + L"\\" + name;
        tree[name] = std::filesystem::is_directory(path) ? "(a folder)" : FileContent(path);
    }
    return tree;
}
