#include "common/text.h"

#include <windows.h>

namespace tools {

namespace {

std::wstring Upper(std::wstring_view text) {
    std::wstring upper(text);
    ::CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
    return upper;
}

// The first call returns the size, the second converts. With an explicit length neither of them
// counts or writes a terminator.
std::wstring ToWide(std::string_view bytes, UINT codePage) {
    const int length = static_cast<int>(bytes.size());
    const int size = ::MultiByteToWideChar(codePage, 0, bytes.data(), length, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(size), L'\0');
    ::MultiByteToWideChar(codePage, 0, bytes.data(), length, text.data(), size);
    return text;
}

}  // namespace

bool EqualIgnoringCase(std::wstring_view one, std::wstring_view other) {
    return one.size() == other.size() && Upper(one) == Upper(other);
}

std::string ToUtf8(std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    const int size =
        ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

std::wstring FromUtf8(std::string_view bytes) {
    return ToWide(bytes, CP_UTF8);
}

std::wstring FromAnsi(std::string_view bytes) {
    return ToWide(bytes, CP_ACP);
}

}  // namespace tools
