#include "inf_file.h"

#include <setupapi.h>

#include <cstddef>
#include <vector>

#include "platform/unique_handle.h"
#include "report.h"
#include "text.h"

namespace {

constexpr LONGLONG kLargestInf = LONGLONG{16} * 1024 * 1024;

struct InfTraits {
    using Value = HINF;
    static Value Empty() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Value value) noexcept { ::SetupCloseInfFile(value); }
};
using UniqueInf = Unique<InfTraits>;

// Calls one of the functions that write a path into a buffer and tell how long it had to be.
template <typename Function>
std::wstring PathFrom(Function function) {
    std::wstring path(MAX_PATH, L'\0');
    DWORD length = function(path.data(), static_cast<DWORD>(path.size()));
    if (length >= path.size()) {
        path.resize(length);
        length = function(path.data(), static_cast<DWORD>(path.size()));
    }
    path.resize(length < path.size() ? length : 0);
    return path;
}

// The full path in its long form: published packages are recognised by the long name of their file.
std::wstring FullPath(const std::wstring& path) {
    const std::wstring full = PathFrom([&](wchar_t* buffer, DWORD size) {
        return ::GetFullPathNameW(path.c_str(), size, buffer, nullptr);
    });
    const std::wstring longPath = PathFrom([&](wchar_t* buffer, DWORD size) {
        return ::GetLongPathNameW(full.c_str(), buffer, size);
    });
    return longPath.empty() ? full : longPath;
}

std::wstring Parse(const std::wstring& path) {
    UINT line = 0;
    const UniqueInf inf(::SetupOpenInfFileW(path.c_str(), nullptr, INF_STYLE_WIN4, &line));
    if (inf) return L"";
    const DWORD error = ::GetLastError();
    const std::wstring place = line == 0 ? L"" : L" in line " + std::to_wstring(line);
    return L"Not a usable INF file" + place + L": " + path + L". " + SystemText(error);
}

}  // namespace

InfReading ReadInf(const std::wstring& path) {
    InfFile inf;
    inf.path = FullPath(path);
    inf.name = FileNameOf(inf.path);
    std::optional<std::string> content = ReadBytes(inf.path);
    if (!content) {
        const DWORD error = ::GetLastError();
        return {std::nullopt, L"Cannot read the INF file " + path + L". " + SystemText(error)};
    }
    inf.content = std::move(*content);
    std::wstring problem = Parse(inf.path);
    if (!problem.empty()) return {std::nullopt, std::move(problem)};
    return {std::move(inf), L""};
}

std::optional<std::string> ReadBytes(const std::wstring& path) {
    constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const UniqueFile file(::CreateFileW(path.c_str(), GENERIC_READ, shareAll, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    if (!file || !::GetFileSizeEx(file.Get(), &size)) return std::nullopt;
    if (size.QuadPart > kLargestInf) {
        ::SetLastError(ERROR_FILE_TOO_LARGE);
        return std::nullopt;
    }
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    if (!::ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr)) {
        return std::nullopt;
    }
    bytes.resize(read);
    return bytes;
}

std::optional<std::wstring> QueryOriginalName(const std::wstring& path) {
    DWORD size = 0;
    if (!::SetupGetInfInformationW(path.c_str(), INFINFO_INF_NAME_IS_ABSOLUTE, nullptr, 0, &size)) {
        return std::nullopt;
    }
    std::vector<std::byte> buffer(size);
    auto* const information = reinterpret_cast<SP_INF_INFORMATION*>(buffer.data());
    SP_ORIGINAL_FILE_INFO_W original{};
    original.cbSize = sizeof(original);
    if (!::SetupGetInfInformationW(path.c_str(), INFINFO_INF_NAME_IS_ABSOLUTE, information, size,
                                   nullptr) ||
        !::SetupQueryInfOriginalFileInformationW(information, 0, nullptr, &original)) {
        return std::nullopt;
    }
    return original.OriginalInfName;
}
