#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/seven_zip_interfaces.h"

namespace SevenZip::intl {

// One property of one archive item. The constructor reads it, and the destructor frees it.
class ItemProperty {
public:
    ItemProperty(IInArchive& archive, UInt32 index, PROPID id) {
        ::PropVariantInit(&value_);
        result_ = archive.GetProperty(index, id, &value_);
    }
    ItemProperty(const ItemProperty&) = delete;
    ItemProperty& operator=(const ItemProperty&) = delete;
    ~ItemProperty() { (void)::PropVariantClear(&value_); }

    // The handler's result. The other functions are of use only when it is not a failure.
    [[nodiscard]] HRESULT Result() const { return result_; }

    // Whether the archive does not store this property.
    [[nodiscard]] bool IsEmpty() const { return value_.vt == VT_EMPTY; }

    // Stores the property in `value` and returns true. Returns false and leaves `value` alone when
    // the property has another type. The types are a string, a flag, 32 unsigned bits, a time, and
    // an unsigned number of 8 to 64 bits. A string ends at its first zero character; std::bad_alloc
    // is thrown when there is no memory for it.
    [[nodiscard]] bool Get(std::wstring& value) const;
    [[nodiscard]] bool Get(bool& value) const;
    [[nodiscard]] bool Get(UInt32& value) const;
    [[nodiscard]] bool Get(FILETIME& value) const;
    [[nodiscard]] bool Get(UInt64& value) const;

private:
    PROPVARIANT value_;
    HRESULT result_ = E_FAIL;
};

// The paths and the sizes in bytes of an archive's items. What is not stored is empty or 0.
struct ItemList {
    std::vector<std::wstring> names;
    std::vector<std::uint64_t> sizes;
};

// Adds `count` items to `list`. Returns false when the handler cannot read the path or the size of
// one.
[[nodiscard]] bool ReadItemList(IInArchive& archive, UInt32 count, ItemList& list);

}  // namespace SevenZip::intl
