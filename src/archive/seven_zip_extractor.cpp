#include "archive/seven_zip_extractor.h"

#include <windows.h>

#include <optional>

#include "archive/archive_extract_callback.h"
#include "archive/archive_handler.h"
#include "archive/archive_open_callback.h"
#include "archive/extract_exception_carrier.h"
#include "archive/file_system.h"
#include "archive/item_properties.h"
#include "archive/stream_wrappers.h"
#include "platform/unique_handle.h"

namespace SevenZip {

namespace {

constexpr UInt32 kAllItems = 0xFFFFFFFF;
constexpr Int32 kNoTest = 0;

// Reports the content of the archive to `progress`. Returns nothing when the extraction goes on,
// and otherwise the result with which it ends.
std::optional<HRESULT> Announce(IInArchive& archive, ExtractProgress& progress) {
    UInt32 count = 0;
    if (const HRESULT result = archive.GetNumberOfItems(&count); FAILED(result)) return result;
    if (!progress.OnItemCount(count)) return std::nullopt;
    intl::ItemList list;
    if (!intl::ReadItemList(archive, count, list)) return E_FAIL;
    if (!progress.OnItemList(list.names, list.sizes)) return S_OK;
    return std::nullopt;
}

}  // namespace

std::int32_t SevenZipExtractor::ExtractTo(const std::wstring& destination,
                                          ExtractProgress* progress) {
    // When no format is found, the 7z handler is tried, and its result is returned.
    (void)DetectFormat();
    const intl::UniqueCom<IStream> file = intl::OpenFileForRead(archivePath);
    if (!file) {
        LookUpMessage(ERROR_OPEN_FAILED);
        return ERROR_OPEN_FAILED;
    }
    return ExtractFrom(*file.Get(), destination, progress);
}

std::int32_t SevenZipExtractor::ExtractFrom(IStream& file, const std::wstring& destination,
                                            ExtractProgress* progress) {
    const auto input = intl::MakeCom<intl::InStreamWrapper>(file);
    const auto openCallback = intl::MakeCom<intl::ArchiveOpenCallback>();
    intl::OpenedArchive archive(format, *input.Get(), nullptr, *openCallback.Get());
    if (archive.Result() != S_OK) {
        LookUpMessage(archive.Result());
        return archive.Result();
    }
    if (progress != nullptr) {
        if (const auto end = Announce(archive.Handler(), *progress)) return *end;
    }

    const auto callback = intl::MakeCom<intl::ArchiveExtractCallback>(
        archive.Handler(), destination, overwriteMode, progress);
    const auto carrier = intl::MakeCom<intl::ExtractExceptionCarrier>(*callback.Get());
    const HRESULT result = archive.Handler().Extract(nullptr, kAllItems, kNoTest, carrier.Get());
    carrier.Get()->Rethrow();
    if (result != S_OK) LookUpMessage(result);
    if (progress != nullptr) progress->OnArchiveDone(archivePath);
    archive.Close();
    return result;
}

void SevenZipExtractor::LookUpMessage(std::int32_t code) {
    wchar_t* buffer = nullptr;
    const DWORD length = ::FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
        nullptr, static_cast<DWORD>(code), 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    // The test is inverted: a text that Windows finds is neither stored nor freed, and only a
    // failed lookup stores what the buffer contains. ExtractTo reports by its result alone, so a
    // derived class finds `lastMessage` empty after every failure that Windows has a text for. The
    // text stays in the process's heap, where a crash dump shows it.
    if (length != 0) return;
    const UniqueLocal<wchar_t> text(buffer);
    if (text) lastMessage = text.Get();
}

}  // namespace SevenZip
