#pragma once

#include <objidl.h>

#include "archive/com_object.h"
#include "archive/seven_zip_interfaces.h"

namespace SevenZip::intl {

// A Windows stream as a stream that 7-Zip reads. Holds a reference to the Windows stream.
class InStreamWrapper final : public ComObject<IInStream, IStreamGetSize> {
public:
    explicit InStreamWrapper(IStream& stream) : stream_(Share(stream)) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;

    STDMETHODIMP Read(void* data, UInt32 size, UInt32* processed) override;
    STDMETHODIMP Seek(Int64 offset, UInt32 origin, UInt64* newPosition) override;
    STDMETHODIMP GetSize(UInt64* size) override;

private:
    UniqueCom<IStream> stream_;
};

// A Windows stream as a stream that 7-Zip writes. Holds a reference to the Windows stream.
class OutStreamWrapper final : public ComObject<IOutStream> {
public:
    explicit OutStreamWrapper(IStream& stream) : stream_(Share(stream)) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;

    STDMETHODIMP Write(const void* data, UInt32 size, UInt32* processed) override;
    STDMETHODIMP Seek(Int64 offset, UInt32 origin, UInt64* newPosition) override;
    STDMETHODIMP SetSize(UInt64 size) override;

private:
    UniqueCom<IStream> stream_;
};

}  // namespace SevenZip::intl
