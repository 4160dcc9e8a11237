#include "archive/archive_handler.h"

#include <algorithm>
#include <array>
#include <utility>

// 7-Zip's object factory. Its headers declare only the type of this function.
STDAPI CreateObject(const GUID* classId, const GUID* interfaceId, void** object);

namespace SevenZip::intl {

namespace {

struct FormatHandler {
    ArchiveFormat format;
    BYTE classIdByte;
};

constexpr std::array kFormatHandlers{
    FormatHandler{ArchiveFormat::k7z, 0x07},  // also for every number without a row
    FormatHandler{ArchiveFormat::kZip, 0x01},  FormatHandler{ArchiveFormat::kCab, 0x08},
    FormatHandler{ArchiveFormat::kLzma, 0x0A}, FormatHandler{ArchiveFormat::kLzma86, 0x0B},
};

GUID HandlerClassId(ArchiveFormat format) {
    const auto row = std::ranges::find(kFormatHandlers, format, &FormatHandler::format);
    const FormatHandler& handler = row == kFormatHandlers.end() ? kFormatHandlers.front() : *row;
    return {0x23170F69,
            0x40C1,
            0x278A,
            {0x10, 0x00, 0x00, 0x01, 0x10, handler.classIdByte, 0x00, 0x00}};
}

}  // namespace

// 7-Zip's formats and codecs register themselves in static constructors, which have run when the
// library is loaded. So no registration is needed here.
UniqueCom<IInArchive> CreateArchiveHandler(ArchiveFormat format) {
    const GUID classId = HandlerClassId(format);
    void* handler = nullptr;
    (void)::CreateObject(&classId, &IID_IInArchive, &handler);
    return UniqueCom<IInArchive>(static_cast<IInArchive*>(handler));
}

OpenedArchive::OpenedArchive(ArchiveFormat format, IInStream& file, const UInt64* maximumStart,
                             IArchiveOpenCallback& callback)
    : handler_(CreateArchiveHandler(format)) {
    if (handler_) result_ = Handler().Open(&file, maximumStart, &callback);
}

void OpenedArchive::Close() {
    if (handler_ && !std::exchange(closed_, true)) (void)Handler().Close();
}

}  // namespace SevenZip::intl
