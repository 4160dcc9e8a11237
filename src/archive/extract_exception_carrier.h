#pragma once

#include <exception>

#include "archive/archive_extract_callback.h"
#include "archive/com_object.h"
#include "archive/seven_zip_interfaces.h"

namespace SevenZip::intl {

// Forwards 7-Zip's calls to the extraction callback and carries exceptions around 7-Zip.
//
// An exception cannot pass through 7-Zip. Its methods are declared not to throw, parts of it are C,
// and some of its functions catch everything. So this object catches whatever the callback throws:
// its _com_error, or anything from the caller's ExtractProgress. From then on it answers E_ABORT to
// every call without asking the callback, which makes 7-Zip return from Extract. After that,
// `Rethrow` throws the exception again.
class ExtractExceptionCarrier final
    : public ComObject<IArchiveExtractCallback, ICryptoGetTextPassword, ICompressProgressInfo> {
public:
    explicit ExtractExceptionCarrier(ArchiveExtractCallback& callback)
        : callback_(Share(callback)) {}

    // Throws the exception that was caught. Does nothing when there was none.
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
