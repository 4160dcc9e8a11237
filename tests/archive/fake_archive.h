#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "archive/com_object.h"
#include "archive/seven_zip_interfaces.h"

// What a fake archive returns for one property.
using Property = std::function<HRESULT(PROPVARIANT&)>;

[[nodiscard]] inline Property Failure(HRESULT result) {
    return [result](PROPVARIANT&) { return result; };
}

[[nodiscard]] inline Property OfType(VARTYPE type) {
    return [type](PROPVARIANT& value) {
        value.vt = type;
        return S_OK;
    };
}

[[nodiscard]] inline Property Text(const std::wstring& text) {
    return [text](PROPVARIANT& value) {
        value.vt = VT_BSTR;
        value.bstrVal = ::SysAllocString(text.c_str());
        return S_OK;
    };
}

[[nodiscard]] inline Property Flag(bool flag) {
    return [flag](PROPVARIANT& value) {
        value.vt = VT_BOOL;
        value.boolVal = flag ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    };
}

// 7-Zip leaves the unused bytes of a value as they are, so these are not zero.
[[nodiscard]] inline Property Number(VARTYPE type, UInt64 number) {
    return [type, number](PROPVARIANT& value) {
        value.vt = type;
        value.uhVal.QuadPart = 0xCDCDCDCDCDCDCDCD;
        switch (type) {
            case VT_UI1:
                value.bVal = static_cast<BYTE>(number);
                break;
            case VT_UI2:
                value.uiVal = static_cast<USHORT>(number);
                break;
            case VT_UI4:
                value.ulVal = static_cast<ULONG>(number);
                break;
            default:
                value.uhVal.QuadPart = number;
                break;
        }
        return S_OK;
    };
}

[[nodiscard]] inline FILETIME FileTime(UInt64 ticks) {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

[[nodiscard]] inline Property Time(UInt64 ticks) {
    return [ticks](PROPVARIANT& value) {
        value.vt = VT_FILETIME;
        value.filetime = FileTime(ticks);
        return S_OK;
    };
}

// An archive with the properties that a test sets. All others are empty.
class FakeArchive final : public SevenZip::intl::ComObject<IInArchive> {
public:
    void Set(UInt32 item, PROPID id, Property property) {
        properties_[{item, id}] = std::move(property);
    }

    std::vector<PROPID> asked;  // in order

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        return Find({{&IID_IInArchive, static_cast<IInArchive*>(this)}}, iid, object);
    }
    STDMETHODIMP GetProperty(UInt32 item, PROPID id, PROPVARIANT* value) override {
        asked.push_back(id);
        const auto property = properties_.find({item, id});
        return property == properties_.end() ? S_OK : property->second(*value);
    }

    STDMETHODIMP Open(IInStream*, const UInt64*, IArchiveOpenCallback*) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Close() override { return E_NOTIMPL; }
    STDMETHODIMP GetNumberOfItems(UInt32*) override { return E_NOTIMPL; }
    STDMETHODIMP Extract(const UInt32*, UInt32, Int32, IArchiveExtractCallback*) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP GetArchiveProperty(PROPID, PROPVARIANT*) override { return E_NOTIMPL; }
    STDMETHODIMP GetNumberOfProperties(UInt32*) override { return E_NOTIMPL; }
    STDMETHODIMP GetPropertyInfo(UInt32, BSTR*, PROPID*, VARTYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP GetNumberOfArchiveProperties(UInt32*) override { return E_NOTIMPL; }
    STDMETHODIMP GetArchivePropertyInfo(UInt32, BSTR*, PROPID*, VARTYPE*) override {
        return E_NOTIMPL;
    }

private:
    std::map<std::pair<UInt32, PROPID>, Property> properties_;
};
