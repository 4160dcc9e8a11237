#include "inf_installer/inf_file.h"

#include <setupapi.h>

#include <algorithm>
#include <array>

#include "common/paths.h"
#include "common/system_text.h"
#include "common/text.h"
#include "inf_installer/report.h"
#include "platform/paths.h"
#include "platform/unique_handle.h"

namespace installer {

using tools::EqualIgnoringCase;
using tools::FileNameOf;
using tools::FolderOf;
using tools::FullPath;
using tools::LongPath;
using tools::SystemText;

namespace {

// Far above the size of any INF file. It bounds the memory that a wrong path can cost.
constexpr LONGLONG kLargestInf = LONGLONG{16} * 1024 * 1024;

// How Unique (platform/unique_handle.h) holds and closes an opened INF file.
struct InfTraits {
    using Value = HINF;
    static Value Empty() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Value value) noexcept { ::SetupCloseInfFile(value); }
};
using UniqueInf = Unique<InfTraits>;

// Windows records the long name of a published INF file, so the given file is compared by its long
// name.
std::wstring FullLongPath(const std::wstring& path) {
    const std::wstring full = FullPath(path);
    const std::wstring longPath = LongPath(full);
    return longPath.empty() ? full : longPath;
}

// Why SetupAPI cannot parse the INF file at `path`, as a sentence; empty when it can. The path must
// be full: SetupAPI looks for a bare name in the system's INF folder.
std::wstring Parse(const std::wstring& path) {
    UINT line = 0;
    const UniqueInf inf(::SetupOpenInfFileW(path.c_str(), nullptr, INF_STYLE_WIN4, &line));
    if (inf) return L"";
    const DWORD error = ::GetLastError();
    const std::wstring place = line == 0 ? L"" : L" (line " + std::to_wstring(line) + L")";
    return L"Not a usable INF file" + place + L": " + path + L". " + SystemText(error);
}

#ifdef _WIN64
constexpr const wchar_t* kFilesOfThisProcessor = L"SourceDisksFiles.amd64";
#else
constexpr const wchar_t* kFilesOfThisProcessor = L"SourceDisksFiles.x86";
#endif

using Text = std::array<wchar_t, MAX_PATH>;

// `folder`, which ends with a separator, followed by `subfolder`, which may be empty.
std::wstring Below(const std::wstring& folder, std::wstring_view subfolder) {
    subfolder.remove_prefix(std::min(subfolder.find_first_not_of(L'\\'), subfolder.size()));
    if (subfolder.empty()) return folder;
    return folder + std::wstring(subfolder) + (subfolder.ends_with(L'\\') ? L"" : L"\\");
}

// What the medium with that number in [SourceDisksNames] has as its folder, or as its cabinet.
std::wstring OfMedium(HINF inf, INT medium, UINT what) {
    Text text{};
    (void)::SetupGetSourceInfoW(inf, static_cast<UINT>(medium), what, text.data(), MAX_PATH,
                                nullptr);
    return text.data();
}

bool IsCabinet(std::wstring_view name) {
    constexpr std::wstring_view extension = L".cab";
    return name.size() > extension.size() &&
           EqualIgnoringCase(name.substr(name.size() - extension.size()), extension);
}

// The path of the file that a line of a [SourceDisksFiles] section lists, when it is missing. The
// key of the line is its name, and the fields are its medium and a folder below that of the medium.
std::wstring MissingAt(HINF inf, INFCONTEXT line, const std::wstring& packageFolder) {
    Text name{};
    Text subfolder{};
    INT medium = 0;
    (void)::SetupGetStringFieldW(&line, 0, name.data(), MAX_PATH, nullptr);
    (void)::SetupGetIntField(&line, 1, &medium);
    (void)::SetupGetStringFieldW(&line, 2, subfolder.data(), MAX_PATH, nullptr);

    if (IsCabinet(OfMedium(inf, medium, SRCINFO_TAGFILE))) return L"";
    std::wstring path =
        Below(Below(packageFolder, OfMedium(inf, medium, SRCINFO_PATH)), subfolder.data()) +
        name.data();
    const std::wstring compressed = path.substr(0, path.size() - 1) + L"_";
    return FileOrFolderExists(path) || FileOrFolderExists(compressed) ? L"" : path;
}

}  // namespace

InfReading ReadInf(const std::wstring& path) {
    InfFile inf;
    inf.path = FullLongPath(path);
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

std::wstring MissingFile(const InfFile& inf) {
    const UniqueInf opened(::SetupOpenInfFileW(inf.path.c_str(), nullptr, INF_STYLE_WIN4, nullptr));
    for (const wchar_t* section : {kFilesOfThisProcessor, L"SourceDisksFiles"}) {
        INFCONTEXT line{};
        for (BOOL more = ::SetupFindFirstLineW(opened.Get(), section, nullptr, &line); more;
             more = ::SetupFindNextLine(&line, &line)) {
            std::wstring path = MissingAt(opened.Get(), line, std::wstring(FolderOf(inf.path)));
            if (!path.empty()) return path;
        }
    }
    return L"";
}

std::optional<std::string> ReadBytes(const std::wstring& path) {
    // Another program may be reading the file, or even replacing it.
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

}  // namespace installer
