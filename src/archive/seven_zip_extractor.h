#pragma once

#include <cstdint>
#include <string>

#include "archive/extract_progress.h"
#include "archive/overwrite_mode.h"
#include "archive/seven_zip_archive.h"

struct IStream;

namespace SevenZip {

// Unpacks an archive into a folder.
class SevenZipExtractor : public SevenZipArchive {
public:
    // Detects the archive's format and writes all its items below `destination`, which is made when
    // it is not there. `progress` may be null. Runs to its end on the caller's thread.
    //
    // Returns 0 on success, also when single items were damaged or of a kind that 7-Zip cannot
    // unpack; 110 when the archive file cannot be opened; 80 or 1631 when an item's file cannot be
    // made room for or its folder cannot be made; otherwise a failed HRESULT, or S_FALSE when the
    // file is no archive.
    //
    // Throws a _com_error when the archive's properties cannot be read, and whatever `progress`
    // throws; everything is closed and released by then.
    virtual std::int32_t ExtractTo(const std::wstring& destination, ExtractProgress* progress);

protected:
    OverwriteMode overwriteMode = OverwriteMode::kDelete;
    std::wstring lastMessage;

private:
    std::int32_t ExtractFrom(IStream& file, const std::wstring& destination,
                             ExtractProgress* progress);
    void LookUpMessage(std::int32_t code);
};

}  // namespace SevenZip
