#include "mendloftctl/driver_archive.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "finished_program.h"

namespace {

using ctl::ListDriverArchive;

class DriverArchive : public testing::Test {
protected:
    [[nodiscard]] const ctl::ArchiveItem* Find(const std::wstring& path) const {
        const auto found = std::ranges::find(items, path, &ctl::ArchiveItem::path);
        return found == items.end() ? nullptr : &*found;
    }

    std::vector<ctl::ArchiveItem> items =
        ListDriverArchive(ProgramFolder() + L"\\libmendloft.dll").value();
};

TEST_F(DriverArchive, ListsFilesWithTheirSizes) {
    const ctl::ArchiveItem* const inf = Find(L"usb\\x64\\usbaapl64.inf");

    ASSERT_NE(nullptr, inf);
    EXPECT_FALSE(inf->isFolder);
    EXPECT_GT(inf->size, 0U);
}

TEST_F(DriverArchive, ListsFolders) {
    const ctl::ArchiveItem* const folder = Find(L"applekis\\x86");

    ASSERT_NE(nullptr, folder);
    EXPECT_TRUE(folder->isFolder);
}

TEST_F(DriverArchive, IsMissingFromOtherLibraries) {
    EXPECT_FALSE(ListDriverArchive(ScriptedLibrary()).has_value());
}

TEST_F(DriverArchive, IsMissingFromAMissingFile) {
    EXPECT_FALSE(ListDriverArchive(L"C:\\nowhere.dll").has_value());
}

TEST_F(DriverArchive, LeavesTheLibraryUnloaded) {
    EXPECT_EQ(nullptr, ::GetModuleHandleW(L"libmendloft.dll"));
}

}  // namespace
