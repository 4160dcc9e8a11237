#pragma once

#include <windows.h>
#include <objidl.h>

#include "support/pointer_patch.h"

// Makes things fail inside a loaded library. All of it works from outside, on the image in memory,
// so it does not matter which runtime the host has.

// Calls `visit(words, count)` for each section of a loaded module that is data.
template <typename Visit>
void VisitData(HMODULE module, Visit visit) {
    auto* const image = reinterpret_cast<BYTE*>(module);
    const IMAGE_NT_HEADERS32& headers = HeadersOf(module);
    const IMAGE_SECTION_HEADER* section = IMAGE_FIRST_SECTION(&headers);
    for (WORD i = 0; i < headers.FileHeader.NumberOfSections; ++i, ++section) {
        if ((section->Characteristics & IMAGE_SCN_CNT_INITIALIZED_DATA) == 0) continue;
        visit(reinterpret_cast<void**>(image + section->VirtualAddress),
              section->Misc.VirtualSize / sizeof(void*));
    }
}

inline bool IsText(const void* place, const BYTE* end, const char* text) {
    const auto* bytes = static_cast<const char*>(place);
    for (; reinterpret_cast<const BYTE*>(bytes) < end; ++bytes, ++text) {
        if (*bytes != *text) return false;
        if (*text == '\0') return true;
    }
    return false;
}

// The table of virtual functions of a class of the library, found through its run-time type
// information: a table follows a zero word and the address of the class's information, which
// consists of two words, the second of which is the address of the class's mangled name. This is
// what GCC and Clang for mingw-w64 emit. Null when the class is not there.
inline void** FindVirtualTable(HMODULE module, const char* mangledName) {
    const BYTE* const image = reinterpret_cast<const BYTE*>(module);
    const BYTE* const end = image + HeadersOf(module).OptionalHeader.SizeOfImage;
    const void* information = nullptr;
    VisitData(module, [&](void** words, DWORD count) {
        for (DWORD i = 1; i < count; ++i) {
            const auto* const name = static_cast<const BYTE*>(words[i]);
            if (name >= image && name < end && IsText(name, end, mangledName))
                information = words + i - 1;
        }
    });
    void** table = nullptr;
    if (information == nullptr) return table;
    VisitData(module, [&](void** words, DWORD count) {
        for (DWORD i = 1; i + 1 < count; ++i) {
            if (words[i] == information && words[i - 1] == nullptr) table = words + i + 1;
        }
    });
    return table;
}

// Makes the library's 7z handler unable to read one property of one item while this object lives:
// reading it ends with an HRESULT, or succeeds with a value of a type that no archive has.
class UnreadableProperty {
public:
    struct WithResult {
        HRESULT result;
    };
    struct WithType {
        VARTYPE type;
    };

    UnreadableProperty(HMODULE library, UINT item, PROPID property, WithResult end)
        : UnreadableProperty(library, item, property) {
        result_ = end.result;
    }
    UnreadableProperty(HMODULE library, UINT item, PROPID property, WithType end)
        : UnreadableProperty(library, item, property) {
        type_ = end.type;
    }

    // Whether the handler was found.
    [[nodiscard]] bool Works() const { return patch_.Works(); }

private:
    using GetProperty = HRESULT(WINAPI*)(void* handler, UINT item, PROPID id, PROPVARIANT* value);

    UnreadableProperty(HMODULE library, UINT item, PROPID property)
        : patch_(Method(library), reinterpret_cast<void*>(&Read)) {
        real_ = reinterpret_cast<GetProperty>(patch_.Old());
        item_ = item;
        property_ = property;
        result_ = S_OK;
        type_ = VT_EMPTY;
    }

    static void** Method(HMODULE library) {
        void** const table = FindVirtualTable(library, "N8NArchive3N7z8CHandlerE");
        constexpr int getProperty = 6;  // the position in the interface IInArchive
        return table == nullptr ? nullptr : table + getProperty;
    }

    static HRESULT WINAPI Read(void* handler, UINT item, PROPID id, PROPVARIANT* value) {
        const HRESULT result = real_(handler, item, id, value);
        if (item != item_ || id != property_) return result;
        (void)::PropVariantClear(value);
        value->vt = type_;
        return result_;
    }

    static inline GetProperty real_ = nullptr;
    static inline UINT item_ = 0;
    static inline PROPID property_ = 0;
    static inline HRESULT result_ = S_OK;
    static inline VARTYPE type_ = VT_EMPTY;
    PointerPatch patch_;
};

// While this object lives, there is no memory for the strings that the library asks OLE for. So
// 7-Zip's handler cannot read the path of an item.
class NoMemoryForStrings {
public:
    explicit NoMemoryForStrings(HMODULE library)
        : patch_(FindImport(library, "SysAllocStringLen"), reinterpret_cast<void*>(&Allocate)) {}

    [[nodiscard]] bool Works() const { return patch_.Works(); }

private:
    static BSTR WINAPI Allocate(const OLECHAR*, UINT) { return nullptr; }

    PointerPatch patch_;
};

// Makes allocations of the library fail while this object lives: the one with that number, counted
// from 1, and with kAllAfter also those that follow.
class FailingAllocation {
public:
    enum Extent { kOne, kAllAfter };

    FailingAllocation(HMODULE library, int number, Extent extent = kOne)
        : first_(number),
          last_(extent == kOne ? number : LONG_MAX),
          patch_(FindImport(library, "malloc"), reinterpret_cast<void*>(&Allocate)) {
        current_ = this;
    }

    [[nodiscard]] bool Works() const { return patch_.Works(); }
    // Whether the library has come to that allocation.
    [[nodiscard]] bool Happened() const { return made_ >= first_; }

private:
    using Malloc = void*(__cdecl*)(size_t);

    static void* __cdecl Allocate(size_t size) {
        const long number = ++current_->made_;
        if (number >= current_->first_ && number <= current_->last_) return nullptr;
        return reinterpret_cast<Malloc>(current_->patch_.Old())(size);
    }

    static inline FailingAllocation* current_ = nullptr;
    long made_ = 0;
    long first_;
    long last_;
    PointerPatch patch_;
};
