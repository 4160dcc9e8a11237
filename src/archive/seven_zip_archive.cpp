#include "archive/seven_zip_archive.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "archive/archive_handler.h"
#include "archive/archive_open_callback.h"
#include "archive/file_system.h"
#include "archive/item_properties.h"
#include "archive/stream_wrappers.h"

namespace SevenZip {

namespace {

// The formats to try, each once, `current` first. A `current` that is not in the rest of the list
// is erased itself and not tried.
std::vector<ArchiveFormat> FormatCandidates(ArchiveFormat current) {
    std::vector candidates{current,
                           ArchiveFormat::k7z,
                           ArchiveFormat::kLzma86,
                           ArchiveFormat::kLzma,
                           ArchiveFormat::kCab,
                           ArchiveFormat::kZip};
    candidates.erase(std::prev(std::find(candidates.rbegin(), candidates.rend(), current).base()));
    return candidates;
}

bool Opens(ArchiveFormat format, IStream& file, IArchiveOpenCallback& callback) {
    constexpr UInt64 atItsStartOnly = 0;
    const auto input = intl::MakeCom<intl::InStreamWrapper>(file);
    (void)input.Get()->Seek(0, STREAM_SEEK_SET, nullptr);
    const intl::OpenedArchive archive(format, *input.Get(), &atItsStartOnly, callback);
    return archive.Result() == S_OK;
}

}  // namespace

SevenZipArchive::~SevenZipArchive() = default;

bool SevenZipArchive::SetArchivePath(const std::wstring& path) {
    archivePath = path;
    return true;
}

bool SevenZipArchive::ReadMetadata() {
    const bool formatKnown = formatForced || FindFormat();
    const bool itemsRead = ReadItems();
    metadataRead = formatKnown && itemsRead;
    return metadataRead;
}

void SevenZipArchive::SetFormat(ArchiveFormat newFormat) {
    format = newFormat;
    formatForced = true;
    metadataRead = false;
}

ArchiveFormat SevenZipArchive::GetFormat() {
    if (!formatForced) EnsureMetadata();
    return format;
}

void SevenZipArchive::SetCompressionLevel(std::uint32_t level) {
    compressionLevel = level;
}

std::uint32_t SevenZipArchive::GetCompressionLevel() {
    return compressionLevel;
}

bool SevenZipArchive::DetectFormat() {
    formatForced = false;
    return FindFormat();
}

std::uint32_t SevenZipArchive::GetItemCount() {
    EnsureMetadata();
    return itemCount;
}

std::vector<std::wstring> SevenZipArchive::GetItemNames() {
    EnsureMetadata();
    return itemNames;
}

std::vector<std::uint32_t> SevenZipArchive::GetItemSizes() {
    EnsureMetadata();
    return itemSizes;
}

void SevenZipArchive::EnsureMetadata() {
    if (!metadataRead) metadataRead = ReadMetadata();
}

bool SevenZipArchive::FindFormat() {
    const intl::UniqueCom<IStream> file = intl::OpenFileForRead(archivePath);
    if (!file) return false;
    const auto callback = intl::MakeCom<intl::ArchiveOpenCallback>();
    for (const ArchiveFormat candidate : FormatCandidates(format)) {
        format = candidate;
        if (Opens(candidate, *file.Get(), *callback.Get())) return true;
    }
    format = ArchiveFormat::kUnknown;
    return false;
}

bool SevenZipArchive::ReadItems() {
    itemCount = 0;
    itemNames.clear();
    itemSizes.clear();

    const intl::UniqueCom<IStream> file = intl::OpenFileForRead(archivePath);
    if (!file) return false;
    const auto input = intl::MakeCom<intl::InStreamWrapper>(*file.Get());
    const auto callback = intl::MakeCom<intl::ArchiveOpenCallback>();
    const intl::OpenedArchive archive(format, *input.Get(), nullptr, *callback.Get());
    UInt32 count = 0;
    intl::ItemList list;
    if (archive.Result() != S_OK || FAILED(archive.Handler().GetNumberOfItems(&count)) ||
        !intl::ReadItemList(archive.Handler(), count, list)) {
        return false;
    }

    itemCount = count;
    itemNames = std::move(list.names);
    std::ranges::transform(list.sizes, std::back_inserter(itemSizes),
                           [](std::uint64_t size) { return static_cast<std::uint32_t>(size); });
    return true;
}

}  // namespace SevenZip
