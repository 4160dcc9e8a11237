#include "archive/item_properties.h"

namespace SevenZip::intl {

bool ItemProperty::Get(std::wstring& value) const {
    if (value_.vt != VT_BSTR) return false;
    value = value_.bstrVal == nullptr ? L"" : value_.bstrVal;  // a null BSTR is an empty text
    return true;
}

bool ItemProperty::Get(bool& value) const {
    if (value_.vt != VT_BOOL) return false;
    value = value_.boolVal != VARIANT_FALSE;
    return true;
}

bool ItemProperty::Get(UInt32& value) const {
    if (value_.vt != VT_UI4) return false;
    value = value_.ulVal;
    return true;
}

bool ItemProperty::Get(FILETIME& value) const {
    if (value_.vt != VT_FILETIME) return false;
    value = value_.filetime;
    return true;
}

bool ItemProperty::Get(UInt64& value) const {
    switch (value_.vt) {
        case VT_UI1:
            value = value_.bVal;
            return true;
        case VT_UI2:
            value = value_.uiVal;
            return true;
        case VT_UI4:
            value = value_.ulVal;
            return true;
        case VT_UI8:
            value = value_.uhVal.QuadPart;
            return true;
        default:
            return false;
    }
}

bool ReadItemList(IInArchive& archive, UInt32 count, ItemList& list) {
    for (UInt32 index = 0; index < count; ++index) {
        const ItemProperty size(archive, index, kpidSize);
        if (FAILED(size.Result())) return false;
        const ItemProperty path(archive, index, kpidPath);
        if (FAILED(path.Result())) return false;

        (void)size.Get(list.sizes.emplace_back());
        (void)path.Get(list.names.emplace_back());
    }
    return true;
}

}  // namespace SevenZip::intl
