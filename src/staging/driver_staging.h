#pragma once

#include <string>

// Writes the library's embedded driver archive to the file at `path`, replacing what is there.
// Returns false when the file cannot be created. Whether the resource was found and written whole
// is not checked: an archive cut short shows when it is unpacked.
[[nodiscard]] bool WriteDriverResource(const std::wstring& path);
