// The Zip handler's updating half, which an extract-only build does not contain. The handler's
// virtual tables still name it; nobody here calls it.
#include "7zip/Archive/Zip/ZipHandler.h"

namespace NArchive::NZip {

STDMETHODIMP CHandler::UpdateItems(ISequentialOutStream*, UInt32, IArchiveUpdateCallback*) throw() {
    return E_NOTIMPL;
}

STDMETHODIMP CHandler::GetFileTimeType(UInt32*) throw() {
    return E_NOTIMPL;
}

STDMETHODIMP CHandler::SetProperties(const wchar_t* const*, const PROPVARIANT*, UInt32) throw() {
    return E_NOTIMPL;
}

}  // namespace NArchive::NZip
