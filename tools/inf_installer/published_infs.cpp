#include "published_infs.h"

#include <windows.h>

#include <algorithm>
#include <array>

#include "platform/directory_listing.h"
#include "text.h"

namespace {

constexpr std::wstring_view kPrefix = L"oem";
constexpr std::wstring_view kExtension = L".inf";

bool IsDigit(wchar_t character) {
    return character >= L'0' && character <= L'9';
}

// Wine publishes a package under its own name while no other INF has it. Windows never does: there
// such a file is a part of Windows, which Windows refuses to uninstall.
bool MayBePublishedCopy(std::wstring_view name, const InfFile& given) {
    return IsOemName(name) || EqualIgnoringCase(name, given.name);
}

bool IsPublishedCopy(const std::wstring& name, const InfFile& given) {
    const std::wstring path = PublishedPath(name);
    std::optional<std::wstring> originalName = QueryOriginalName(path);
    std::optional<std::string> content = ReadBytes(path);
    return originalName && content &&
           IsPublishedCopyOf({name, std::move(*originalName), std::move(*content)}, given);
}

}  // namespace

bool IsOemName(std::wstring_view name) {
    if (name.size() <= kPrefix.size() + kExtension.size()) return false;
    const std::wstring_view start = name.substr(0, kPrefix.size());
    const std::wstring_view end = name.substr(name.size() - kExtension.size());
    const std::wstring_view number =
        name.substr(kPrefix.size(), name.size() - kPrefix.size() - kExtension.size());
    return EqualIgnoringCase(start, kPrefix) && EqualIgnoringCase(end, kExtension) &&
           std::all_of(number.begin(), number.end(), IsDigit);
}

bool IsPublishedCopyOf(const PublishedInf& published, const InfFile& given) {
    const bool isRecorded = !EqualIgnoringCase(published.originalName, published.name);
    if (isRecorded && !EqualIgnoringCase(published.originalName, given.name)) return false;
    return published.content == given.content;
}

std::vector<std::wstring> FindPublishedCopies(const InfFile& given) {
    std::vector<std::wstring> names;
    (void)ForEachEntry(PublishedPath(L"*.inf"), [&](const WIN32_FIND_DATAW& entry) {
        if (IsDirectory(entry) || entry.nFileSizeLow != given.content.size()) return;
        if (MayBePublishedCopy(entry.cFileName, given) && IsPublishedCopy(entry.cFileName, given)) {
            names.emplace_back(entry.cFileName);
        }
    });
    return names;
}

std::wstring PublishedPath(std::wstring_view name) {
    std::array<wchar_t, MAX_PATH> windows{};
    const UINT length =
        ::GetSystemWindowsDirectoryW(windows.data(), static_cast<UINT>(windows.size()));
    return std::wstring(windows.data(), length) + L"\\inf\\" + std::wstring(name);
}
