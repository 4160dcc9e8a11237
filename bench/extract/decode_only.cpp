#include "decode_only.h"

#include <stdexcept>

#include "archive/archive_handler.h"
#include "archive/archive_open_callback.h"
#include "archive/file_system.h"
#include "archive/stream_wrappers.h"

namespace intl = SevenZip::intl;

namespace {

// Accepts no item's contents, and counts the items that failed.
class TestCallback final : public intl::ComObject<IArchiveExtractCallback> {
public:
    [[nodiscard]] int Failures() const { return failures_; }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        return Find({{&IID_IArchiveExtractCallback, this}, {&IID_IProgress, this}}, iid, object);
    }

    STDMETHODIMP SetTotal(UInt64) override { return S_OK; }
    STDMETHODIMP SetCompleted(const UInt64*) override { return S_OK; }

    STDMETHODIMP GetStream(UInt32, ISequentialOutStream** outStream, Int32) override {
        *outStream = nullptr;
        return S_OK;
    }
    STDMETHODIMP PrepareOperation(Int32) override { return S_OK; }
    STDMETHODIMP SetOperationResult(Int32 result) override {
        if (result != NArchive::NExtract::NOperationResult::kOK) ++failures_;
        return S_OK;
    }

private:
    int failures_ = 0;
};

}  // namespace

void DecodeOnly(const std::wstring& archivePath) {
    constexpr UInt32 allItems = 0xFFFFFFFF;
    constexpr Int32 test = 1;
    const intl::UniqueCom<IStream> file = intl::OpenFileForRead(archivePath);
    if (!file) throw std::runtime_error("cannot open the archive");
    const auto input = intl::MakeCom<intl::InStreamWrapper>(*file.Get());
    const auto openCallback = intl::MakeCom<intl::ArchiveOpenCallback>();
    const intl::OpenedArchive archive(SevenZip::ArchiveFormat::k7z, *input.Get(), nullptr,
                                      *openCallback.Get());
    const auto callback = intl::MakeCom<TestCallback>();
    if (archive.Result() != S_OK ||
        archive.Handler().Extract(nullptr, allItems, test, callback.Get()) != S_OK ||
        callback.Get()->Failures() != 0) {
        throw std::runtime_error("cannot decode the archive");
    }
}
