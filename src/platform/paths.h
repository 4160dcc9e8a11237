#pragma once

#include <string>

// Paths and folder trees. Reentrant.

// Removes the folder at `path` with everything in it, as far as Windows allows. What cannot be
// removed, such as a read-only file, stays, and so do the folders that contain it. A link to a
// folder is entered like a folder, so the content of its target is deleted. Returns false when the
// folder cannot be listed, and true otherwise, even when something is left. Throws
// std::out_of_range when `path` is empty.
bool DeleteDirectoryTree(const std::wstring& path);

// `base` and `component` with one backslash between them. A base that ends in a backslash or a
// slash gets none. An empty base gives the component alone.
[[nodiscard]] std::wstring JoinPath(const std::wstring& base, const std::wstring& component);

// Whether a file or folder of that path exists.
[[nodiscard]] bool FileOrFolderExists(const std::wstring& path);
