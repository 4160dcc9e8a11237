#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "archive/com_object.h"
#include "archive/extract_progress.h"
#include "archive/overwrite_mode.h"
#include "archive/seven_zip_interfaces.h"

namespace SevenZip::intl {

// What a handler calls while it extracts: decides where each item goes and what becomes of a file
// that is already there, and stamps times and attributes on what was written. Serves one
// extraction, on its thread.
//
// `GetStream` throws a _com_error when the handler cannot read a property of the item or gives one
// of an unexpected type. 7-Zip must not see that; see ExtractExceptionCarrier.
class ArchiveExtractCallback
    : public ComObject<IArchiveExtractCallback, ICryptoGetTextPassword, ICompressProgressInfo> {
public:
    // `listener` may be null; it is not owned.
    ArchiveExtractCallback(IInArchive& archive, const std::wstring& destination, OverwriteMode mode,
                           ExtractProgress* listener);

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;

    STDMETHODIMP SetTotal(UInt64 total) override;
    STDMETHODIMP SetCompleted(const UInt64* completed) override;

    // Besides HRESULTs: 80 for an unknown overwrite mode, 1631 when the parent folder cannot be
    // made.
    STDMETHODIMP GetStream(UInt32 index, ISequentialOutStream** outStream, Int32 askMode) override;
    STDMETHODIMP PrepareOperation(Int32 askMode) override;
    STDMETHODIMP SetOperationResult(Int32 operationResult) override;

    STDMETHODIMP CryptoGetTextPassword(BSTR* password) override;
    STDMETHODIMP SetRatioInfo(const UInt64* inSize, const UInt64* outSize) override;

protected:
    UniqueCom<IInArchive> archiveHandler;
    std::wstring directory;  // ends in a separator

    // The current item; what a flag says is absent has no meaning.
    std::wstring relativePath;
    std::wstring absolutePath;  // empty while no file is written for the item
    bool isDirectory = false;
    bool hasAttributes = false;
    std::uint32_t attributes = 0;
    bool hasModified = false;
    FILETIME modified{};
    bool hasAccessed = false;
    FILETIME accessed{};
    bool hasCreated = false;
    FILETIME created{};
    bool hasSize = false;
    std::uint64_t size = 0;

    OverwriteMode overwriteMode;
    ExtractProgress* progress;
    std::uint64_t totalSize = 0;

    // What a roll-back undoes: the path of each file written, and where the file that was there
    // before was put aside (empty if there was none).
    std::vector<std::pair<std::wstring, std::wstring>> pendingReplacements;

private:
    template <typename Value>
    bool ReadProperty(UInt32 index, PROPID id, Value& value);
    void ReadPath(UInt32 index);
    void ReadMetadata(UInt32 index);

    bool IsWanted();
    HRESULT OpenTarget(std::wstring target, ISequentialOutStream** outStream);
    std::optional<HRESULT> MakeRoom(std::wstring& target);
    HRESULT RollBack();
    void StampTimes();
};

}  // namespace SevenZip::intl
