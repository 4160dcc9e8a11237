#pragma once

#include <optional>
#include <string>
#include <string_view>

// The INF files in the INF folder of Windows. Windows publishes each package of the driver store by
// a copy of its INF file there.

namespace tools {

// Whether `name` is one that Windows gives to the INF file of a third-party package: "oem", a
// number and ".inf". Case does not matter.
[[nodiscard]] bool IsOemName(std::wstring_view name);

// Whether an INF file called `name` in that folder may be the published copy of one that was called
// `original`. Only a filter: most files that pass it belong to other packages.
[[nodiscard]] bool MayBePublishedAs(std::wstring_view name, std::wstring_view original);

// The full path of the published INF file called `name`, which may be a pattern.
[[nodiscard]] std::wstring PublishedPath(std::wstring_view name);

// The name that the INF file at the full path `path` had before Windows published it. Where Windows
// has recorded none, it answers with the file's present name. Empty when Windows cannot read the
// file as an INF file.
[[nodiscard]] std::optional<std::wstring> QueryOriginalName(const std::wstring& path);

}  // namespace tools
