#pragma once

#include <string>

// The resource of the library that is the driver archive: its type and its identifier.
inline constexpr const wchar_t* kDriverResourceType = L"DRIVER";
inline constexpr unsigned short kDriverResource = 102;

// The staging folder, behind the temporary directory, and the archive file behind that folder.
inline constexpr const wchar_t* kStagingFolderName = L"mendloft";
inline constexpr const wchar_t* kStagedArchiveName = L"\\driver.7z";

// Writes the library's embedded driver archive to the file at `path`, replacing what is there.
// Returns false when the file cannot be created. Whether the resource was found and written whole
// is not checked: an archive cut short shows when it is unpacked.
[[nodiscard]] bool WriteDriverResource(const std::wstring& path);
