#include "archive/com_object.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "archive/archive_extract_callback.h"
#include "archive/archive_open_callback.h"
#include "archive/extract_exception_carrier.h"
#include "archive/fake_archive.h"
#include "archive/fake_stream.h"
#include "archive/stream_wrappers.h"

namespace {

using namespace SevenZip;

class Counted final : public intl::ComObject<ICompressProgressInfo> {
public:
    explicit Counted(bool& gone) : gone_(gone) {}
    ~Counted() override { gone_ = true; }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        return Find({{&IID_ICompressProgressInfo, static_cast<ICompressProgressInfo*>(this)}}, iid,
                    object);
    }
    STDMETHODIMP SetRatioInfo(const UInt64*, const UInt64*) override { return S_OK; }

private:
    bool& gone_;
};

TEST(ComObject, StartsWithoutAReferenceAndReturnsTheNewCount) {
    bool gone = false;
    auto* const object = new Counted(gone);

    EXPECT_EQ(1u, object->AddRef());
    EXPECT_EQ(2u, object->AddRef());
    EXPECT_EQ(1u, object->Release());
    EXPECT_FALSE(gone);
    EXPECT_EQ(0u, object->Release());
}

TEST(ComObject, IsDeletedByItsLastRelease) {
    bool gone = false;
    auto* const object = new Counted(gone);
    object->AddRef();

    object->Release();

    EXPECT_TRUE(gone);
}

TEST(ComObject, ReturnsAReferenceWithEachInterface) {
    bool gone = false;
    const auto object = intl::MakeCom<Counted>(gone);
    void* found = nullptr;

    EXPECT_EQ(S_OK, object.Get()->QueryInterface(IID_ICompressProgressInfo, &found));

    EXPECT_EQ(1u, static_cast<ICompressProgressInfo*>(found)->Release());
}

TEST(ComObject, ReturnsANullObjectForAnUnknownInterface) {
    bool gone = false;
    const auto object = intl::MakeCom<Counted>(gone);
    void* found = &gone;

    EXPECT_EQ(E_NOINTERFACE, object.Get()->QueryInterface(IID_IStream, &found));

    EXPECT_EQ(nullptr, found);
    EXPECT_EQ(2u, object.Get()->AddRef());
    object.Get()->Release();
}

TEST(ComObject, RefusesAQueryWithoutAnOutputPointer) {
    bool gone = false;
    const auto object = intl::MakeCom<Counted>(gone);

    EXPECT_EQ(E_POINTER, object.Get()->QueryInterface(IID_IUnknown, nullptr));
}

// Whether the machine code of a method of IUnknown contains a locked add before its return. A race
// between threads would reveal a missing lock only rarely.
bool AddsUnderLock(IUnknown& object, std::size_t slot) {
    const auto* code = (*reinterpret_cast<const std::uint8_t***>(&object))[slot];
    constexpr std::string_view lockedAdd("\xF0\x0F\xC1", 3);  // lock xadd
    constexpr std::string_view end("\xC2\x04\x00", 3);        // ret 4
    const std::string_view text(reinterpret_cast<const char*>(code), 4096);
    return text.substr(0, text.find(end)).find(lockedAdd) != std::string_view::npos;
}

TEST(ComObject, CountsWithInterlockedInstructions) {
    bool gone = false;
    const auto object = intl::MakeCom<Counted>(gone);

    EXPECT_TRUE(AddsUnderLock(*object.Get(), 1));  // AddRef
    EXPECT_TRUE(AddsUnderLock(*object.Get(), 2));  // Release
}

GUID SevenZipId(BYTE group, BYTE number) {
    return {0x23170F69, 0x40C1, 0x278A, {0x00, 0x00, 0x00, group, 0x00, number, 0x00, 0x00}};
}

// Whether QueryInterface finds the interface, and the same IUnknown through it.
bool Finds(IUnknown& object, const GUID& id) {
    void* found = nullptr;
    if (object.QueryInterface(id, &found) != S_OK) return false;
    const intl::UniqueCom<IUnknown> answer(static_cast<IUnknown*>(found));
    intl::UniqueCom<IUnknown> identity;
    const HRESULT result =
        answer.Get()->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(identity.Receive()));
    return result == S_OK && identity.Get() == &object;
}

// The group and number of each 7-Zip interface that is found, out of all possible ones.
std::vector<std::pair<int, int>> Found(IUnknown& object) {
    std::vector<std::pair<int, int>> found;
    for (int group = 0; group < 0x10; ++group) {
        for (int number = 0; number < 0x100; ++number) {
            if (Finds(object, SevenZipId(static_cast<BYTE>(group), static_cast<BYTE>(number)))) {
                found.emplace_back(group, number);
            }
        }
    }
    return found;
}

using Interfaces = std::vector<std::pair<int, int>>;

TEST(QueryInterface, OfTheOpenCallbackFindsOpeningAndPassword) {
    const auto object = intl::MakeCom<intl::ArchiveOpenCallback>();
    auto& unknown = *static_cast<IArchiveOpenCallback*>(object.Get());

    EXPECT_EQ((Interfaces{{0x05, 0x10}, {0x06, 0x10}}), Found(unknown));
    EXPECT_TRUE(Finds(unknown, IID_IUnknown));
}

TEST(QueryInterface, OfTheExtractCallbackFindsExtractionPasswordAndRatio) {
    const auto archive = intl::MakeCom<FakeArchive>();
    const auto object = intl::MakeCom<intl::ArchiveExtractCallback>(
        *archive.Get(), L"C:\\", OverwriteMode::kDelete, nullptr);
    auto& unknown = *static_cast<IArchiveExtractCallback*>(object.Get());

    EXPECT_EQ((Interfaces{{0x04, 0x04}, {0x05, 0x10}, {0x06, 0x20}}), Found(unknown));
    EXPECT_TRUE(Finds(unknown, IID_IUnknown));
}

TEST(QueryInterface, OfTheExceptionCarrierFindsWhatTheExtractCallbackDoes) {
    const auto archive = intl::MakeCom<FakeArchive>();
    const auto callback = intl::MakeCom<intl::ArchiveExtractCallback>(
        *archive.Get(), L"C:\\", OverwriteMode::kDelete, nullptr);
    const auto object = intl::MakeCom<intl::ExtractExceptionCarrier>(*callback.Get());
    auto& unknown = *static_cast<IArchiveExtractCallback*>(object.Get());

    EXPECT_EQ((Interfaces{{0x04, 0x04}, {0x05, 0x10}, {0x06, 0x20}}), Found(unknown));
    EXPECT_TRUE(Finds(unknown, IID_IUnknown));
}

TEST(QueryInterface, OfTheInStreamFindsReadingSeekingAndSize) {
    const auto stream = intl::MakeCom<FakeStream>();
    const auto object = intl::MakeCom<intl::InStreamWrapper>(*stream.Get());
    auto& unknown = *static_cast<IInStream*>(object.Get());

    EXPECT_EQ((Interfaces{{0x03, 0x01}, {0x03, 0x03}, {0x03, 0x06}}), Found(unknown));
    EXPECT_TRUE(Finds(unknown, IID_IUnknown));
}

TEST(QueryInterface, OfTheOutStreamFindsWritingAndSeeking) {
    const auto stream = intl::MakeCom<FakeStream>();
    const auto object = intl::MakeCom<intl::OutStreamWrapper>(*stream.Get());
    auto& unknown = *static_cast<IOutStream*>(object.Get());

    EXPECT_EQ((Interfaces{{0x03, 0x02}, {0x03, 0x04}}), Found(unknown));
    EXPECT_TRUE(Finds(unknown, IID_IUnknown));
}

TEST(QueryInterface, OfEveryObjectNeedsAnOutputPointer) {
    const auto stream = intl::MakeCom<FakeStream>();
    const auto archive = intl::MakeCom<FakeArchive>();
    const auto in = intl::MakeCom<intl::InStreamWrapper>(*stream.Get());
    const auto out = intl::MakeCom<intl::OutStreamWrapper>(*stream.Get());
    const auto open = intl::MakeCom<intl::ArchiveOpenCallback>();
    const auto extract = intl::MakeCom<intl::ArchiveExtractCallback>(
        *archive.Get(), L"C:\\", OverwriteMode::kDelete, nullptr);
    const auto carrier = intl::MakeCom<intl::ExtractExceptionCarrier>(*extract.Get());

    EXPECT_EQ(E_POINTER, in.Get()->QueryInterface(IID_IUnknown, nullptr));
    EXPECT_EQ(E_POINTER, out.Get()->QueryInterface(IID_IUnknown, nullptr));
    EXPECT_EQ(E_POINTER, open.Get()->QueryInterface(IID_IUnknown, nullptr));
    EXPECT_EQ(E_POINTER, extract.Get()->QueryInterface(IID_IUnknown, nullptr));
    EXPECT_EQ(E_POINTER, carrier.Get()->QueryInterface(IID_IUnknown, nullptr));
}

}  // namespace
