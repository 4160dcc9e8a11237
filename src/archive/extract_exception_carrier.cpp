#include "archive/extract_exception_carrier.h"

namespace SevenZip::intl {

void ExtractExceptionCarrier::Rethrow() const {
    if (exception_) std::rethrow_exception(exception_);
}

template <typename... Parameters, typename... Arguments>
HRESULT ExtractExceptionCarrier::Forward(
    HRESULT (STDMETHODCALLTYPE ArchiveExtractCallback::*method)(Parameters...),
    Arguments... arguments) noexcept {
    if (exception_) return E_ABORT;
    try {
        return (callback_.Get()->*method)(arguments...);
    } catch (...) {
        exception_ = std::current_exception();
        return E_ABORT;
    }
}

STDMETHODIMP ExtractExceptionCarrier::QueryInterface(REFIID iid, void** object) {
    return Find({{&IID_IArchiveExtractCallback, static_cast<IArchiveExtractCallback*>(this)},
                 {&IID_ICryptoGetTextPassword, static_cast<ICryptoGetTextPassword*>(this)},
                 {&IID_ICompressProgressInfo, static_cast<ICompressProgressInfo*>(this)}},
                iid, object);
}

STDMETHODIMP ExtractExceptionCarrier::SetTotal(UInt64 total) {
    return Forward(&ArchiveExtractCallback::SetTotal, total);
}

STDMETHODIMP ExtractExceptionCarrier::SetCompleted(const UInt64* completed) {
    return Forward(&ArchiveExtractCallback::SetCompleted, completed);
}

STDMETHODIMP ExtractExceptionCarrier::GetStream(UInt32 index, ISequentialOutStream** outStream,
                                                Int32 askMode) {
    *outStream = nullptr;
    return Forward(&ArchiveExtractCallback::GetStream, index, outStream, askMode);
}

STDMETHODIMP ExtractExceptionCarrier::PrepareOperation(Int32 askMode) {
    return Forward(&ArchiveExtractCallback::PrepareOperation, askMode);
}

STDMETHODIMP ExtractExceptionCarrier::SetOperationResult(Int32 operationResult) {
    return Forward(&ArchiveExtractCallback::SetOperationResult, operationResult);
}

STDMETHODIMP ExtractExceptionCarrier::CryptoGetTextPassword(BSTR* password) {
    return Forward(&ArchiveExtractCallback::CryptoGetTextPassword, password);
}

STDMETHODIMP ExtractExceptionCarrier::SetRatioInfo(const UInt64* inSize, const UInt64* outSize) {
    return Forward(&ArchiveExtractCallback::SetRatioInfo, inSize, outSize);
}

}  // namespace SevenZip::intl
