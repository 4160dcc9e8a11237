#pragma once

#include <string>
#include <string_view>

// Paths of files and of the system's folders. Nothing here opens what a path names; only LongPath
// looks at the disk.

namespace tools {

// The part of `path` after the last backslash, slash or colon.
[[nodiscard]] std::wstring_view FileNameOf(std::wstring_view path);

// The part of `path` before the file name, including the separator: `path` is FolderOf followed by
// FileNameOf.
[[nodiscard]] std::wstring_view FolderOf(std::wstring_view path);

// `path` with its drive, resolved against the current folder; `path` unchanged when Windows cannot
// resolve it.
[[nodiscard]] std::wstring FullPath(const std::wstring& path);

// `path` with each short 8.3 name replaced by the long name. Empty when nothing exists at `path`.
[[nodiscard]] std::wstring LongPath(const std::wstring& path);

// The system's folders, without a final backslash; empty when Windows does not name them.
[[nodiscard]] std::wstring WindowsFolder();
[[nodiscard]] std::wstring SystemFolder();

// The full path of the running program.
[[nodiscard]] std::wstring ProgramPath();

}  // namespace tools
