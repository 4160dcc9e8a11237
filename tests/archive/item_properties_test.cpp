#include "archive/item_properties.h"

#include <gtest/gtest.h>

#include "archive/fake_archive.h"
#include "support/fake_api.h"

namespace {

using namespace SevenZip;

class ReadItemList : public testing::Test {
protected:
    intl::UniqueCom<FakeArchive> archive = intl::MakeCom<FakeArchive>();
    intl::ItemList list;
};

TEST_F(ReadItemList, ListsPathsAndSizesInTheArchivesOrder) {
    archive.Get()->Set(0, kpidPath, Text(L"usb\\x64\\b.sys"));
    archive.Get()->Set(0, kpidSize, Number(VT_UI8, 0x1'0000'0005));
    archive.Get()->Set(1, kpidPath, Text(L"a.inf"));
    archive.Get()->Set(1, kpidSize, Number(VT_UI8, 7));

    EXPECT_TRUE(intl::ReadItemList(*archive.Get(), 2, list));

    EXPECT_EQ((std::vector<std::wstring>{L"usb\\x64\\b.sys", L"a.inf"}), list.names);
    EXPECT_EQ((std::vector<std::uint64_t>{0x1'0000'0005, 7}), list.sizes);
}

TEST_F(ReadItemList, ListsMissingPropertiesAsEmptyAndZero) {
    EXPECT_TRUE(intl::ReadItemList(*archive.Get(), 1, list));

    EXPECT_EQ(std::vector<std::wstring>{L""}, list.names);
    EXPECT_EQ(std::vector<std::uint64_t>{0}, list.sizes);
}

TEST_F(ReadItemList, ListsAPathThatIsNotTextAsEmpty) {
    archive.Get()->Set(0, kpidPath, Number(VT_UI4, 5));

    EXPECT_TRUE(intl::ReadItemList(*archive.Get(), 1, list));

    EXPECT_EQ(std::vector<std::wstring>{L""}, list.names);
}

TEST_F(ReadItemList, AcceptsNarrowSizes) {
    archive.Get()->Set(0, kpidSize, Number(VT_UI4, 9));

    EXPECT_TRUE(intl::ReadItemList(*archive.Get(), 1, list));

    EXPECT_EQ(std::vector<std::uint64_t>{9}, list.sizes);
}

TEST_F(ReadItemList, ReadsTheSizeBeforeThePath) {
    EXPECT_TRUE(intl::ReadItemList(*archive.Get(), 2, list));

    EXPECT_EQ((std::vector<PROPID>{7, 3, 7, 3}), archive.Get()->asked);
}

TEST_F(ReadItemList, FailsWhenASizeCannotBeRead) {
    archive.Get()->Set(1, kpidSize, Failure(E_OUTOFMEMORY));

    EXPECT_FALSE(intl::ReadItemList(*archive.Get(), 2, list));
}

TEST_F(ReadItemList, FailsWhenAPathCannotBeRead) {
    archive.Get()->Set(1, kpidPath, Failure(E_OUTOFMEMORY));

    EXPECT_FALSE(intl::ReadItemList(*archive.Get(), 2, list));
}

TEST(ItemProperty, ReadsANullTextAsEmpty) {
    const auto archive = intl::MakeCom<FakeArchive>();
    archive.Get()->Set(0, kpidPath, OfType(VT_BSTR));
    std::wstring text = L"before";

    EXPECT_TRUE(intl::ItemProperty(*archive.Get(), 0, kpidPath).Get(text));

    EXPECT_EQ(L"", text);
}

TEST(ItemProperty, FreesTheValueThatTheArchiveReturns) {
    const auto archive = intl::MakeCom<FakeArchive>();
    archive.Get()->Set(0, kpidPath, Text(L"text"));
    std::vector<VARTYPE> freed;
    {
        const FakeApi<"PropVariantClear", decltype(::PropVariantClear)> clear(
            [&](PROPVARIANT* value) {
                freed.push_back(value->vt);
                return clear.Real(value);
            });
        const intl::ItemProperty property(*archive.Get(), 0, kpidPath);
        freed.clear();
    }

    EXPECT_EQ(std::vector<VARTYPE>{VT_BSTR}, freed);
}

}  // namespace
