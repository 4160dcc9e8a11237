#pragma once

#include <string>

// Decodes a 7z archive and verifies its checksums as ExtractTo would, with the same handler and the
// same streams, but writes nothing. Throws a std::runtime_error when the archive is damaged or
// cannot be read.
void DecodeOnly(const std::wstring& archivePath);
