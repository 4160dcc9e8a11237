#pragma once

#include <windows.h>

#include <functional>
#include <utility>

#include "archive/archive_format.h"
#include "archive/archive_handler.h"
#include "archive/seven_zip_interfaces.h"

// Intercepts one method of 7-Zip's real handlers for a format by patching the entry in their table
// of virtual functions. The handlers for Lzma and Lzma86 share a class and so a table.
//
//     HandlerClose close(ArchiveFormat::k7z,
//                        [&](IInArchive* handler) { return close.Real(handler); });
//
// The patch ends with its scope. It does not see the calls that 7-Zip makes to its own methods.
template <std::size_t Slot, typename Result, typename... Arguments>
class HandlerPatch {
public:
    using Method = Result(STDMETHODCALLTYPE*)(IInArchive*, Arguments...);
    using Behaviour = std::function<Result(IInArchive*, Arguments...)>;

    HandlerPatch(SevenZip::ArchiveFormat format, Behaviour behaviour)
        : behaviour_(std::move(behaviour)),
          previous_(std::exchange(current_, this)),
          entry_(Entry(format)),
          real_(Write(entry_, &Call)) {}
    HandlerPatch(const HandlerPatch&) = delete;
    HandlerPatch& operator=(const HandlerPatch&) = delete;
    ~HandlerPatch() {
        Write(entry_, real_);
        current_ = previous_;
    }

    Result Real(IInArchive* handler, Arguments... arguments) const {
        return real_(handler, arguments...);
    }

private:
    static Result STDMETHODCALLTYPE Call(IInArchive* handler, Arguments... arguments) {
        return Of(handler)->behaviour_(handler, arguments...);
    }

    // The patch for the handler's class. Several classes may be patched at a time.
    static HandlerPatch* Of(IInArchive* handler) {
        HandlerPatch* patch = current_;
        while (patch->entry_ != Table(handler) + Slot) patch = patch->previous_;
        return patch;
    }

    static Method* Table(IInArchive* handler) { return *reinterpret_cast<Method**>(handler); }

    static Method* Entry(SevenZip::ArchiveFormat format) {
        return Table(SevenZip::intl::CreateArchiveHandler(format).Get()) + Slot;
    }

    static Method Write(Method* entry, Method method) {
        DWORD protection = 0;
        ::VirtualProtect(entry, sizeof(*entry), PAGE_READWRITE, &protection);
        const Method old = std::exchange(*entry, method);
        ::VirtualProtect(entry, sizeof(*entry), protection, &protection);
        return old;
    }

    static inline HandlerPatch* current_ = nullptr;
    Behaviour behaviour_;
    HandlerPatch* previous_;
    Method* entry_;
    Method real_;
};

using HandlerRelease = HandlerPatch<2, ULONG>;
using HandlerOpen = HandlerPatch<3, HRESULT, IInStream*, const UInt64*, IArchiveOpenCallback*>;
using HandlerClose = HandlerPatch<4, HRESULT>;
using HandlerItemCount = HandlerPatch<5, HRESULT, UInt32*>;
using HandlerProperty = HandlerPatch<6, HRESULT, UInt32, PROPID, PROPVARIANT*>;
using HandlerExtract =
    HandlerPatch<7, HRESULT, const UInt32*, UInt32, Int32, IArchiveExtractCallback*>;
