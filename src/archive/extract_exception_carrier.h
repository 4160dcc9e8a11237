#pragma once

#include <exception>

#include "archive/archive_extract_callback.h"
#include "archive/com_object.h"
#include "archive/seven_zip_interfaces.h"

namespace SevenZip::intl {

// Stands between 7-Zip and the extraction callback and carries exceptions around 7-Zip.
//
// An exception cannot pass through 7-Zip: its methods are declared to throw nothing, parts of it
// are C, and what gets through that is swallowed by catch-alls of its own. So this object catches
// whatever the callback throws (its _com_error, or anything from the caller's ExtractProgress) and
// answers E_ABORT, and goes on doing so without asking the callback again, until 7-Zip has come
// back out of Extract. Then `Rethrow` lets the exception go on its way.
class ExtractExceptionCarrier final
    : public ComObject<IArchiveExtractCallback, ICryptoGetTextPassword, ICompressProgressInfo> {
public:
    explicit ExtractExceptionCarrier(ArchiveExtractCallback& callback)
        : callback_(Share(callback)) {}

    // Throws what was caught, if anything was.
    void Rethrow() const;

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;

    STDMETHODIMP SetTotal(UInt64 total) override;
    STDMETHODIMP SetCompleted(const UInt64* completed) override;
    STDMETHODIMP GetStream(UInt32 index, ISequentialOutStream** outStream, Int32 askMode) override;
    STDMETHODIMP PrepareOperation(Int32 askMode) override;
    STDMETHODIMP SetOperationResult(Int32 operationResult) override;
    STDMETHODIMP CryptoGetTextPassword(BSTR* password) override;
    STDMETHODIMP SetRatioInfo(const UInt64* inSize, const UInt64* outSize) override;

private:
    template <typename... Parameters, typename... Arguments>
    HRESULT Forward(HRESULT (STDMETHODCALLTYPE ArchiveExtractCallback::*method)(Parameters...),
                    Arguments... arguments) noexcept;

    UniqueCom<ArchiveExtractCallback> callback_;
    std::exception_ptr exception_;
};

}  // namespace SevenZip::intl
