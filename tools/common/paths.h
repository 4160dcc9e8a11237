#pragma once

#include <string>
#include <string_view>

// Paths of files and of the system's folders, as text: nothing here opens what a path names.

namespace tools {

// What follows the last backslash, slash or colon of `path`.
[[nodiscard]] std::wstring_view FileNameOf(std::wstring_view path);

// What comes before the file name, its separator included; `path` is FolderOf + FileNameOf.
[[nodiscard]] std::wstring_view FolderOf(std::wstring_view path);

// The folder of a file without the backslash at its end, to which the library appends names that
// begin with one. Empty when `path` has no backslash.
[[nodiscard]] std::wstring ParentFolder(const std::wstring& path);

// `path` from the drive on, resolved against the current folder; as it is when Windows cannot.
[[nodiscard]] std::wstring FullPath(const std::wstring& path);

// `path` with the long name of each component in place of a short 8.3 one. Empty when nothing is
// there.
[[nodiscard]] std::wstring LongPath(const std::wstring& path);

// The system's folders, without a backslash at the end. Windows' own folder is the machine's, also
// in a terminal session that has one of its own.
[[nodiscard]] std::wstring WindowsFolder();
[[nodiscard]] std::wstring SystemFolder();

// The full path of the running program.
[[nodiscard]] std::wstring ProgramPath();

}  // namespace tools
