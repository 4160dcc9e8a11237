#pragma once

#include <windows.h>

// Replaces pointers in a loaded module. Needs no C++ library, so that a host of any compiler can
// use it.

// Replaces a function pointer in a loaded module while this object lives. Does nothing when there
// is no such pointer; Works() then returns false.
class PointerPatch {
public:
    PointerPatch(void** place, void* replacement) : place_(place) {
        if (place_ != nullptr) old_ = Write(replacement);
    }
    PointerPatch(const PointerPatch&) = delete;
    PointerPatch& operator=(const PointerPatch&) = delete;
    ~PointerPatch() {
        if (place_ != nullptr) (void)Write(old_);
    }

    // Leaves the replacement in place.
    void Keep() { place_ = nullptr; }

    [[nodiscard]] bool Works() const { return place_ != nullptr; }
    [[nodiscard]] void* Old() const { return old_; }

private:
    void* Write(void* value) const {
        DWORD protection = 0;
        (void)::VirtualProtect(place_, sizeof(*place_), PAGE_READWRITE, &protection);
        void* const old = *place_;
        *place_ = value;
        (void)::VirtualProtect(place_, sizeof(*place_), protection, &protection);
        return old;
    }

    void** place_;
    void* old_ = nullptr;
};

inline const IMAGE_NT_HEADERS32& HeadersOf(HMODULE module) {
    const auto* const image = reinterpret_cast<const BYTE*>(module);
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
    return *reinterpret_cast<const IMAGE_NT_HEADERS32*>(image + dos->e_lfanew);
}

// The import table's entry for a function. Null when the module does not import it by this name.
inline void** FindImport(HMODULE module, const char* function) {
    auto* const image = reinterpret_cast<BYTE*>(module);
    const DWORD imports =
        HeadersOf(module).OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    const auto* entry = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(image + imports);
    for (; entry->Name != 0; ++entry) {
        const auto* name =
            reinterpret_cast<const IMAGE_THUNK_DATA32*>(image + entry->OriginalFirstThunk);
        auto* slot = reinterpret_cast<void**>(image + entry->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if ((name->u1.Ordinal & IMAGE_ORDINAL_FLAG32) != 0) continue;
            const auto* const text =
                reinterpret_cast<const char*>(image + name->u1.AddressOfData + sizeof(WORD));
            if (::lstrcmpA(text, function) == 0) return slot;
        }
    }
    return nullptr;
}
