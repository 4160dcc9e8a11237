#pragma once

#include <windows.h>
#include <objidl.h>

#include <optional>

#include "archive/com_object.h"

// A Windows stream that records how it is called and returns what the test sets.
class FakeStream final : public SevenZip::intl::ComObject<IStream> {
public:
    explicit FakeStream(bool* gone = nullptr) : gone_(gone) {}
    ~FakeStream() override {
        if (gone_ != nullptr) *gone_ = true;
    }

    HRESULT result = S_OK;
    std::optional<ULONG> count = 0;  // set by Read and Write, unless it is empty
    unsigned long long number = 0;   // set by Seek and Stat

    const void* data = nullptr;  // what the last call was given
    ULONG size = 0;
    long long offset = 0;
    DWORD origin = 0;
    DWORD flags = 0;

    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    STDMETHODIMP Read(void* to, ULONG bytes, ULONG* done) override {
        return Transfer(to, bytes, done);
    }
    STDMETHODIMP Write(const void* from, ULONG bytes, ULONG* done) override {
        return Transfer(from, bytes, done);
    }
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD from, ULARGE_INTEGER* position) override {
        offset = move.QuadPart;
        origin = from;
        position->QuadPart = number;
        return result;
    }
    STDMETHODIMP SetSize(ULARGE_INTEGER newSize) override {
        number = newSize.QuadPart;
        return result;
    }
    STDMETHODIMP Stat(STATSTG* status, DWORD statFlags) override {
        flags = statFlags;
        status->cbSize.QuadPart = number;
        return result;
    }
    STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Commit(DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Revert() override { return E_NOTIMPL; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Clone(IStream**) override { return E_NOTIMPL; }

private:
    HRESULT Transfer(const void* buffer, ULONG bytes, ULONG* done) {
        data = buffer;
        size = bytes;
        if (count) *done = *count;
        return result;
    }

    bool* gone_;
};
