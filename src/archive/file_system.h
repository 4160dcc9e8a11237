#pragma once

#include <windows.h>
#include <objidl.h>

#include <string>
#include <utility>

#include "archive/com_object.h"

// The file system as the extraction needs it. Where a function reports failure, the thread's last
// error says why and is never 0. Reentrant.
namespace SevenZip::intl {

// The file at `path`, opened for reading; null when that fails.
[[nodiscard]] UniqueCom<IStream> OpenFileForRead(const std::wstring& path);

// A new file at `path`, opened for writing; one that is there is emptied. Null when that fails.
[[nodiscard]] UniqueCom<IStream> CreateFileForWrite(const std::wstring& path);

// Whether a file or folder of that path exists.
[[nodiscard]] bool PathExists(const std::wstring& path);

// Deletes the file, or the folder with all that is in it. True when nothing is there (any more),
// false also for an empty path and for one longer than 260 characters.
[[nodiscard]] bool DeletePath(const std::wstring& path);

// Renames a file or folder, over a file that is there.
bool RenamePath(const std::wstring& from, const std::wstring& to);

// The same, repeated until it succeeds.
[[nodiscard]] bool MovePath(const std::wstring& from, const std::wstring& to);

// Makes a folder and those above it. True also when it is there already.
bool CreateDirectories(const std::wstring& path);

// `path` up to its last separator, without it; empty when it has none.
[[nodiscard]] std::wstring ParentDirectory(const std::wstring& path);

// `directory` and `name` with one backslash between them, unless `directory` is empty or ends in a
// backslash or a slash.
[[nodiscard]] std::wstring CombinePath(const std::wstring& directory, const std::wstring& name);

// `path` split in front of the last dot of its last element. Without such a dot the second is
// empty.
[[nodiscard]] std::pair<std::wstring, std::wstring> SplitExtension(const std::wstring& path);

// `path` if nothing is there, else the first such path with "~" and the local time in front of the
// extension that names nothing. Names differ by the second, so this may take one.
[[nodiscard]] std::wstring MakeUniquePath(const std::wstring& path);

}  // namespace SevenZip::intl
