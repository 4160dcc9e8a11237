#pragma once

#include <string>

// Decodes a 7z archive and checks its checksums as ExtractTo does, with the same handler and
// streams, but writes nothing. Throws std::runtime_error if the archive is damaged.
void DecodeOnly(const std::wstring& archivePath);
