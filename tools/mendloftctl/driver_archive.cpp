#include "mendloftctl/driver_archive.h"

#include <span>

#include "archive/archive_handler.h"
#include "archive/archive_open_callback.h"
#include "archive/item_properties.h"
#include "archive/stream_wrappers.h"
#include "common/unique_module.h"
#include "platform/unique_handle.h"
#include "staging/driver_staging.h"

namespace ctl {

using tools::UniqueModule;

namespace {

using SevenZip::intl::MakeCom;
using SevenZip::intl::UniqueCom;

// The archive as stored in the loaded file, valid while `library` is; empty when there is none.
std::span<const std::byte> FindArchive(HMODULE library) {
    const HRSRC resource =
        ::FindResourceW(library, MAKEINTRESOURCEW(kDriverResource), kDriverResourceType);
    if (resource == nullptr) return {};
    const void* bytes = ::LockResource(::LoadResource(library, resource));
    if (bytes == nullptr) return {};
    return {static_cast<const std::byte*>(bytes), ::SizeofResource(library, resource)};
}

// The archive code reads from a stream. The stream owns a copy of the bytes. Null when there is not
// enough memory for it.
UniqueCom<IStream> MakeStream(std::span<const std::byte> bytes) {
    UniqueCom<IStream> stream;
    if (FAILED(::CreateStreamOnHGlobal(nullptr, TRUE, stream.Receive()))) return {};
    if (FAILED(stream.Get()->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr)) ||
        FAILED(stream.Get()->Seek({}, STREAM_SEEK_SET, nullptr))) {
        return {};
    }
    return stream;
}

// A property that the archive does not store, or stores in an unexpected type, stays empty.
ArchiveItem ReadItem(IInArchive& archive, UInt32 index) {
    ArchiveItem item;
    (void)SevenZip::intl::ItemProperty(archive, index, kpidPath).Get(item.path);
    (void)SevenZip::intl::ItemProperty(archive, index, kpidIsDir).Get(item.isFolder);
    UInt64 size = 0;
    (void)SevenZip::intl::ItemProperty(archive, index, kpidSize).Get(size);
    item.size = size;
    return item;
}

std::optional<std::vector<ArchiveItem>> ReadItems(IStream& stream) {
    const auto input = MakeCom<SevenZip::intl::InStreamWrapper>(stream);
    const auto callback = MakeCom<SevenZip::intl::ArchiveOpenCallback>();
    const SevenZip::intl::OpenedArchive archive(SevenZip::ArchiveFormat::k7z, *input.Get(), nullptr,
                                                *callback.Get());
    UInt32 count = 0;
    if (archive.Result() != S_OK || FAILED(archive.Handler().GetNumberOfItems(&count)))
        return std::nullopt;
    std::vector<ArchiveItem> items;
    for (UInt32 index = 0; index < count; ++index) {
        items.push_back(ReadItem(archive.Handler(), index));
    }
    return items;
}

}  // namespace

std::optional<std::vector<ArchiveItem>> ListDriverArchive(const std::wstring& library) {
    // Loaded as data, no code of the DLL runs, nothing that it imports is loaded, and its bitness
    // does not matter.
    const UniqueModule module(::LoadLibraryExW(library.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    if (!module) return std::nullopt;
    const std::span<const std::byte> bytes = FindArchive(module.Get());
    const UniqueCom<IStream> stream = MakeStream(bytes);
    if (bytes.empty() || !stream) return std::nullopt;
    return ReadItems(*stream.Get());
}

}  // namespace ctl
