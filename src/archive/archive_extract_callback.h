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

// What a handler calls while it extracts. Decides where each item is written and what happens to an
// existing file, and sets the times and attributes of each written file. Serves one extraction, on
// the thread of that extraction.
//
// `GetStream` throws a _com_error when the handler cannot read a property of the item or returns
// one of an unexpected type. The exception must not reach 7-Zip (see ExtractExceptionCarrier).
//
// The protected members keep this order, and a test holds it: a release DLL has no symbols, so
// whoever reads a host's crash dump finds a member by its offset.
class ArchiveExtractCallback
    : public ComObject<IArchiveExtractCallback, ICryptoGetTextPassword, ICompressProgressInfo> {
public:
    // `destination` is a folder, with or without a separator at its end. `listener` may be null and
    // is not owned.
    ArchiveExtractCallback(IInArchive& archive, const std::wstring& destination, OverwriteMode mode,
                           ExtractProgress* listener);

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;

    STDMETHODIMP SetTotal(UInt64 total) override;
    STDMETHODIMP SetCompleted(const UInt64* completed) override;

    // Besides HRESULTs it returns 80 for an existing file and an unknown overwrite mode, and 1631
    // when the file's folder cannot be created. A failure rolls nothing back, not even in mode
    // kRollBack: only SetOperationResult does, and a handler does not call it after a failure here.
    STDMETHODIMP GetStream(UInt32 index, ISequentialOutStream** outStream, Int32 askMode) override;
    STDMETHODIMP PrepareOperation(Int32 askMode) override;
    STDMETHODIMP SetOperationResult(Int32 operationResult) override;

    // Answers E_ABORT, so an archive with encrypted items is not extracted.
    STDMETHODIMP CryptoGetTextPassword(BSTR* password) override;
    STDMETHODIMP SetRatioInfo(const UInt64* inSize, const UInt64* outSize) override;

protected:
    UniqueCom<IInArchive> archiveHandler;
    std::wstring directory;  // ends in a separator

    // The current item. Where a flag is false, the value after it has no meaning.
    std::wstring relativePath;
    std::wstring absolutePath;  // empty when no file is written for the item
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

    // What a rollback undoes: the path of each written file, and the path to which an existing file
    // was moved before (empty when there was none).
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
