#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/seven_zip_interfaces.h"

namespace SevenZip::intl {

// One property of one archive item, read when this is constructed and freed with it.
class ItemProperty {
public:
    ItemProperty(IInArchive& archive, UInt32 index, PROPID id) {
        ::PropVariantInit(&value_);
        result_ = archive.GetProperty(index, id, &value_);
    }
    ItemProperty(const ItemProperty&) = delete;
    ItemProperty& operator=(const ItemProperty&) = delete;
    ~ItemProperty() { (void)::PropVariantClear(&value_); }

    // The handler's answer; the rest is of use only when it is no failure.
    [[nodiscard]] HRESULT Result() const { return result_; }

    // The archive does not store this property.
    [[nodiscard]] bool IsEmpty() const { return value_.vt == VT_EMPTY; }

    // Gives `value` the property and returns true, or returns false when it is of another type: a
    // string, a flag, 32 unsigned bits, a time, or an unsigned number of up to 64 bits. The string
    // ends at its first zero; std::bad_alloc when there is no memory for it.
    [[nodiscard]] bool Get(std::wstring& value) const;
    [[nodiscard]] bool Get(bool& value) const;
    [[nodiscard]] bool Get(UInt32& value) const;
    [[nodiscard]] bool Get(FILETIME& value) const;
    [[nodiscard]] bool Get(UInt64& value) const;

private:
    PROPVARIANT value_;
    HRESULT result_ = E_FAIL;
};

// The paths and sizes of an archive's items. What is not stored is empty or 0.
struct ItemList {
    std::vector<std::wstring> names;
    std::vector<std::uint64_t> sizes;
};

// Fills `list` with `count` items; false when the handler cannot read one.
[[nodiscard]] bool ReadItemList(IInArchive& archive, UInt32 count, ItemList& list);

}  // namespace SevenZip::intl
