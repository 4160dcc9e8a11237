#include "common/published_infs.h"

#include <windows.h>
#include <setupapi.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "common/paths.h"
#include "common/text.h"

namespace tools {

namespace {

constexpr std::wstring_view kPrefix = L"oem";
constexpr std::wstring_view kExtension = L".inf";

bool IsDigit(wchar_t character) {
    return character >= L'0' && character <= L'9';
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

// Windows publishes under names of its own ("oem12.inf"). Wine publishes a package under the
// package's own name as long as no other INF file has that name.
bool MayBePublishedAs(std::wstring_view name, std::wstring_view original) {
    return IsOemName(name) || EqualIgnoringCase(name, original);
}

std::wstring PublishedPath(std::wstring_view name) {
    return WindowsFolder() + L"\\inf\\" + std::wstring(name);
}

std::optional<std::wstring> QueryOriginalName(const std::wstring& path) {
    // The first call asks for the size of the information, the second fills it in.
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

}  // namespace tools
