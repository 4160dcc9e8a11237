// The updating half of the Zip handler, which an extract-only build leaves out. The handler's
// virtual tables still refer to these functions, but nothing here calls them.
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
