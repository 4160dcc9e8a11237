#pragma once

#include <optional>
#include <string>
#include <string_view>

// The INF files in Windows' own INF folder, where the packages of the driver store are published.

namespace tools {

// Whether Windows gives such a name to the INF of a package that is not its own: "oem", a number
// and ".inf".
[[nodiscard]] bool IsOemName(std::wstring_view name);

// The full path of the published INF file of that name, which may be a pattern.
[[nodiscard]] std::wstring PublishedPath(std::wstring_view name);

// The name that the INF file at the full path `path` had before Windows published it. Windows
// answers with the file's present name where it has recorded none. Empty when the file is not an
// INF file that Windows can read.
[[nodiscard]] std::optional<std::wstring> QueryOriginalName(const std::wstring& path);

}  // namespace tools
