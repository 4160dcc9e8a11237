#include "inf_installer/published_copies.h"

#include <windows.h>

#include "common/published_infs.h"
#include "common/text.h"
#include "platform/directory_listing.h"

namespace installer {

using tools::EqualIgnoringCase;
using tools::MayBePublishedAs;
using tools::PublishedPath;
using tools::QueryOriginalName;

namespace {

// False also when the file cannot be read: what is not known to be a copy is not removed.
bool IsPublishedCopy(const std::wstring& name, const InfFile& given) {
    const std::wstring path = PublishedPath(name);
    std::optional<std::wstring> originalName = QueryOriginalName(path);
    std::optional<std::string> content = ReadBytes(path);
    return originalName && content &&
           IsPublishedCopyOf({name, std::move(*originalName), std::move(*content)}, given);
}

}  // namespace

bool IsPublishedCopyOf(const PublishedInf& published, const InfFile& given) {
    // Windows answers with the published name where it has recorded no original name.
    const bool isRecorded = !EqualIgnoringCase(published.originalName, published.name);
    if (isRecorded && !EqualIgnoringCase(published.originalName, given.name)) return false;
    return published.content == given.content;
}

std::vector<std::wstring> FindPublishedCopies(const InfFile& given) {
    std::vector<std::wstring> names;
    (void)ForEachEntry(PublishedPath(L"*.inf"), [&](const WIN32_FIND_DATAW& entry) {
        // The size excludes most files without opening them: the folder may hold thousands.
        if (IsDirectory(entry) || entry.nFileSizeLow != given.content.size()) return;
        if (MayBePublishedAs(entry.cFileName, given.name) &&
            IsPublishedCopy(entry.cFileName, given)) {
            names.emplace_back(entry.cFileName);
        }
    });
    return names;
}

}  // namespace installer
