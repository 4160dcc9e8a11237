#include "inf_installer/published_copies.h"

#include <windows.h>

#include "common/published_infs.h"
#include "common/text.h"
#include "platform/directory_listing.h"

namespace installer {

using tools::EqualIgnoringCase;
using tools::IsOemName;
using tools::PublishedPath;
using tools::QueryOriginalName;

namespace {

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

}  // namespace installer
