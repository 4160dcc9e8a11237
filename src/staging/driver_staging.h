#pragma once

#include <string>

// The driver archive, from resource to folder. FixHelper::StageDriverPackage is defined in this
// folder.

// Type and identifier of the resource that contains the driver archive.
inline constexpr const wchar_t* kDriverResourceType = L"DRIVER";
inline constexpr unsigned short kDriverResource = 102;

// The staging folder, relative to the temporary directory, and the archive file, relative to the
// staging folder.
inline constexpr const wchar_t* kStagingFolderName = L"mendloft";
inline constexpr const wchar_t* kStagedArchiveName = L"\\driver.7z";

// The user's temporary directory, with a trailing backslash. Empty when Windows names none, or one
// that is longer than 260 characters.
[[nodiscard]] std::wstring TemporaryDirectory();

// Writes the library's embedded driver archive to the file at `path`, over an existing file.
// Returns false when the file cannot be created. It is not checked that the resource was found and
// that all of it was written: unpacking an incomplete archive fails.
[[nodiscard]] bool WriteDriverResource(const std::wstring& path);
