#pragma once

#include "archive/com_object.h"
#include "archive/seven_zip_interfaces.h"

namespace SevenZip::intl {

// What 7-Zip calls while it opens an archive. Ignores progress. Answers E_ABORT when it is asked
// for a password, so an archive with an encrypted directory is not opened.
class ArchiveOpenCallback final : public ComObject<IArchiveOpenCallback, ICryptoGetTextPassword> {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;

    STDMETHODIMP SetTotal(const UInt64* files, const UInt64* bytes) override;
    STDMETHODIMP SetCompleted(const UInt64* files, const UInt64* bytes) override;
    STDMETHODIMP CryptoGetTextPassword(BSTR* password) override;
};

}  // namespace SevenZip::intl
