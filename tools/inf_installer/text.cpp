#include "text.h"

#include <windows.h>

namespace {

std::wstring Upper(std::wstring_view text) {
    std::wstring upper(text);
    ::CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
    return upper;
}

std::size_t LengthOfFolder(std::wstring_view path) {
    const std::size_t separator = path.find_last_of(L"\\/:");
    return separator == std::wstring_view::npos ? 0 : separator + 1;
}

}  // namespace

bool EqualIgnoringCase(std::wstring_view one, std::wstring_view other) {
    return one.size() == other.size() && Upper(one) == Upper(other);
}

std::wstring_view FileNameOf(std::wstring_view path) {
    return path.substr(LengthOfFolder(path));
}

std::wstring_view FolderOf(std::wstring_view path) {
    return path.substr(0, LengthOfFolder(path));
}

std::string ToUtf8(std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    const int size =
        ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}
