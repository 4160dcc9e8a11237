#pragma once

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

// A folder of its own for one test, empty at first and gone with it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        static int count = 0;
        path_ = std::filesystem::temp_directory_path() /
                ("test-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++count));
        std::filesystem::create_directories(path_);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path_, ignored)) {
            ::SetFileAttributesW(entry.path().c_str(), FILE_ATTRIBUTE_NORMAL);
        }
        std::filesystem::remove_all(path_, ignored);
    }

    // Without a separator at its end.
    [[nodiscard]] std::wstring Path() const { return path_.wstring(); }
    [[nodiscard]] std::wstring Path(const std::wstring& name) const {
        return (path_ / name).wstring();
    }

private:
    std::filesystem::path path_;
};

inline void WriteFileContent(const std::wstring& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(std::filesystem::path(path), std::ios::binary) << content;
}

[[nodiscard]] inline std::string FileContent(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The files and folders below a folder: paths with backslashes, relative to it, and what the files
// hold.
[[nodiscard]] inline std::map<std::wstring, std::string> TreeContent(const std::wstring& folder) {
    std::map<std::wstring, std::string> tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::wstring path = entry.path().wstring().substr(folder.size() + 1);
        tree[path] = entry.is_directory() ? "(a folder)" : FileContent(entry.path().wstring());
    }
    return tree;
}
