#pragma once

#include <string>

// Decodes a 7z archive and checks its sums as ExtractTo would, by the same handler over the same
// streams, but writes nothing. Throws a std::runtime_error when something is wrong with it.
void DecodeOnly(const std::wstring& archivePath);
