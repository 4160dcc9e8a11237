#include "archive/archive_open_callback.h"

namespace SevenZip::intl {

STDMETHODIMP ArchiveOpenCallback::QueryInterface(REFIID iid, void** object) {
    return Find({{&IID_IArchiveOpenCallback, static_cast<IArchiveOpenCallback*>(this)},
                 {&IID_ICryptoGetTextPassword, static_cast<ICryptoGetTextPassword*>(this)}},
                iid, object);
}

STDMETHODIMP ArchiveOpenCallback::SetTotal(const UInt64*, const UInt64*) {
    return S_OK;
}

STDMETHODIMP ArchiveOpenCallback::SetCompleted(const UInt64*, const UInt64*) {
    return S_OK;
}

STDMETHODIMP ArchiveOpenCallback::CryptoGetTextPassword(BSTR*) {
    return E_ABORT;
}

}  // namespace SevenZip::intl
