#pragma once

#include <string>

// Paths and folder trees. Reentrant.

// Removes the folder at `path` with everything below it, as far as the system lets it: what cannot
// be removed, such as a read-only file, stays, and so do the folders above it. Links to folders are
// entered like folders. Returns false when the folder could not be listed, and true otherwise,
// whatever was left. Throws std::out_of_range when `path` is empty.
bool DeleteDirectoryTree(const std::wstring& path);

// `base` and `component` with exactly one backslash between them; a base that ends in a backslash
// or a slash gets none, and an empty base gives the component alone.
[[nodiscard]] std::wstring JoinPath(const std::wstring& base, const std::wstring& component);

// Whether a file or folder of that path exists.
[[nodiscard]] bool FileOrFolderExists(const std::wstring& path);
