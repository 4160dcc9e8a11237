#pragma once

#include <windows.h>
#include <unknwn.h>

#include <initializer_list>
#include <utility>

#include "platform/unique_handle.h"

namespace SevenZip::intl {

// What all COM-style objects of the library share: an interlocked reference count that starts at 0,
// and deletion by the `Release` that returns it to 0. AddRef and Release return the new count and
// may be called from any thread.
template <typename... Interfaces>
class ComObject : public Interfaces... {
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    ULONG STDMETHODCALLTYPE AddRef() override {
        return static_cast<ULONG>(::InterlockedIncrement(&references_));
    }

    ULONG STDMETHODCALLTYPE Release() override {
        const LONG left = ::InterlockedDecrement(&references_);
        if (left == 0) delete this;
        return static_cast<ULONG>(left);
    }

protected:
    // An interface id, and this object as that interface.
    using Answer = std::pair<const GUID*, IUnknown*>;

    ComObject() = default;
    virtual ~ComObject() = default;

    // QueryInterface for a list of answers. The first one also answers for IUnknown.
    HRESULT Find(std::initializer_list<Answer> answers, REFIID wanted, void** object) {
        if (object == nullptr) return E_POINTER;
        *object = wanted == IID_IUnknown ? answers.begin()->second : nullptr;
        for (const auto& [id, answer] : answers) {
            if (*id == wanted) *object = answer;
        }
        if (*object == nullptr) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

private:
    LONG references_ = 0;
};

template <typename Interface>
struct ComReferenceTraits {
    using Value = Interface*;
    static Value Empty() noexcept { return nullptr; }
    static void Close(Value value) noexcept { value->Release(); }
};

// Owns one reference to a COM-style object.
template <typename Interface>
using UniqueCom = Unique<ComReferenceTraits<Interface>>;

// One more reference to an object.
template <typename Interface>
[[nodiscard]] UniqueCom<Interface> Share(Interface& object) {
    object.AddRef();
    return UniqueCom<Interface>(&object);
}

// A new object with its first reference.
template <typename Class, typename... Arguments>
[[nodiscard]] UniqueCom<Class> MakeCom(Arguments&&... arguments) {
    return Share(*new Class(std::forward<Arguments>(arguments)...));
}

}  // namespace SevenZip::intl
