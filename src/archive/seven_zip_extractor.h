#pragma once

#include <cstdint>
#include <string>

#include "archive/extract_progress.h"
#include "archive/overwrite_mode.h"
#include "archive/seven_zip_archive.h"

struct IStream;

namespace SevenZip {

// Unpacks an archive into a folder. The protected members keep this order, and a test holds it: a
// release DLL has no symbols, so whoever reads a host's crash dump finds a member by its offset.
class SevenZipExtractor : public SevenZipArchive {
public:
    // Detects the archive's format and writes all its items below `destination`, which is created
    // when it does not exist. `progress` may be null. Runs to its end on the caller's thread.
    //
    // Returns
    //   0        on success, also when items were damaged or 7-Zip cannot unpack their kind, and
    //            when `progress` refused the item list;
    //   110      when the archive file cannot be opened;
    //   80       when an item's file exists and the overwrite mode is unknown;
    //   1631     when the folder of an item's file cannot be created;
    //   S_FALSE  when the file is not an archive;
    //   a failed HRESULT otherwise.
    //
    // In mode kRollBack, only a damaged item makes it roll back. After any other failure, what was
    // written before stays.
    //
    // Throws a _com_error when a property of an item cannot be read, and whatever `progress`
    // throws. Everything is closed and released before that.
    virtual std::int32_t ExtractTo(const std::wstring& destination, ExtractProgress* progress);

protected:
    OverwriteMode overwriteMode = OverwriteMode::kDelete;
    std::wstring lastMessage;  // empty after a failure that Windows has a text for

private:
    std::int32_t ExtractFrom(IStream& file, const std::wstring& destination,
                             ExtractProgress* progress);
    void LookUpMessage(std::int32_t code);
};

}  // namespace SevenZip
