#include "archive/stream_wrappers.h"

namespace SevenZip::intl {

namespace {

// A Windows stream returns S_FALSE when a read reaches the end of the file. 7-Zip sees that by the
// smaller count, and treats every result other than S_OK as a failure.
HRESULT ForSevenZip(HRESULT result) {
    return SUCCEEDED(result) ? S_OK : result;
}

// 7-Zip and Windows use the same numbers for `origin`.
HRESULT SeekStream(IStream& stream, Int64 offset, UInt32 origin, UInt64* newPosition) {
    LARGE_INTEGER move{};
    move.QuadPart = offset;
    ULARGE_INTEGER position{};
    const HRESULT result = stream.Seek(move, origin, &position);
    if (newPosition != nullptr) *newPosition = position.QuadPart;
    return result;
}

}  // namespace

STDMETHODIMP InStreamWrapper::QueryInterface(REFIID iid, void** object) {
    return Find({{&IID_IInStream, static_cast<IInStream*>(this)},
                 {&IID_ISequentialInStream, static_cast<IInStream*>(this)},
                 {&IID_IStreamGetSize, static_cast<IStreamGetSize*>(this)}},
                iid, object);
}

STDMETHODIMP InStreamWrapper::Read(void* data, UInt32 size, UInt32* processed) {
    ULONG count = 0;
    const HRESULT result = stream_.Get()->Read(data, size, &count);
    if (processed != nullptr) *processed = count;
    return ForSevenZip(result);
}

STDMETHODIMP InStreamWrapper::Seek(Int64 offset, UInt32 origin, UInt64* newPosition) {
    return SeekStream(*stream_.Get(), offset, origin, newPosition);
}

STDMETHODIMP InStreamWrapper::GetSize(UInt64* size) {
    STATSTG status{};
    const HRESULT result = stream_.Get()->Stat(&status, STATFLAG_NONAME);
    if (SUCCEEDED(result)) *size = status.cbSize.QuadPart;
    return result;
}

STDMETHODIMP OutStreamWrapper::QueryInterface(REFIID iid, void** object) {
    return Find({{&IID_IOutStream, static_cast<IOutStream*>(this)},
                 {&IID_ISequentialOutStream, static_cast<IOutStream*>(this)}},
                iid, object);
}

STDMETHODIMP OutStreamWrapper::Write(const void* data, UInt32 size, UInt32* processed) {
    ULONG count = 0;
    const HRESULT result = stream_.Get()->Write(data, size, &count);
    if (processed != nullptr) *processed = count;
    return ForSevenZip(result);
}

STDMETHODIMP OutStreamWrapper::Seek(Int64 offset, UInt32 origin, UInt64* newPosition) {
    return SeekStream(*stream_.Get(), offset, origin, newPosition);
}

STDMETHODIMP OutStreamWrapper::SetSize(UInt64 size) {
    ULARGE_INTEGER newSize{};
    newSize.QuadPart = size;
    return stream_.Get()->SetSize(newSize);
}

}  // namespace SevenZip::intl
