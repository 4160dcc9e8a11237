#pragma once

#include <windows.h>
#include <objidl.h>

#include <string>
#include <utility>

#include "archive/com_object.h"

// The file system as the extraction uses it. After a failure to open, create, delete or rename a
// file, GetLastError() gives the reason and is never 0. Reentrant.
namespace SevenZip::intl {

// The file at `path`, opened for reading. Null when that fails.
[[nodiscard]] UniqueCom<IStream> OpenFileForRead(const std::wstring& path);

// A new file at `path`, opened for writing. An existing file is emptied. Null when that fails.
[[nodiscard]] UniqueCom<IStream> CreateFileForWrite(const std::wstring& path);

// Whether a file or folder of that path exists. The shell's function, which FileOrFolderExists
// calls, is documented for paths of up to 260 characters; this one takes the long ones of archives.
[[nodiscard]] bool PathExists(const std::wstring& path);

// Deletes the file, or the folder with everything in it. Returns true when Windows has deleted it
// or nothing was there. Returns false otherwise, and for an empty path or one of more than 260
// characters.
[[nodiscard]] bool DeletePath(const std::wstring& path);

// Renames a file or folder, and replaces an existing file. Returns whether it was renamed.
bool RenamePath(const std::wstring& from, const std::wstring& to);

// Calls RenamePath until it succeeds. Always returns true.
[[nodiscard]] bool MovePath(const std::wstring& from, const std::wstring& to);

// Creates a folder and the folders above it. Returns true also when it exists. A failure gives no
// reason.
bool CreateDirectories(const std::wstring& path);

// `path` up to its last separator, without it. Empty when there is no separator.
[[nodiscard]] std::wstring ParentDirectory(const std::wstring& path);

// `directory` and `name` with one backslash between them, unless `directory` is empty or ends in a
// backslash or a slash.
[[nodiscard]] std::wstring CombinePath(const std::wstring& directory, const std::wstring& name);

// `path` split before the last dot of its last element. Without such a dot the second part is
// empty.
[[nodiscard]] std::pair<std::wstring, std::wstring> SplitExtension(const std::wstring& path);

// A path at which nothing exists: `path` itself, or else `path` with "~" and the local time before
// its extension. The time is in seconds. When that path exists as well, the function waits for the
// next second.
[[nodiscard]] std::wstring MakeUniquePath(const std::wstring& path);

}  // namespace SevenZip::intl
