#include "core/fix_helper.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <type_traits>

#include "support/fake_os.h"

namespace {

TEST(FixHelper, StartsWithEmptyPathsAndDefaultFlags) {
    const auto helper = std::make_shared<FixHelper>();

    EXPECT_EQ(L"", helper->usbStorePath);
    EXPECT_EQ(L"", helper->usbStorePath2);
    EXPECT_EQ(L"", helper->netStorePath);
    EXPECT_EQ(L"", helper->usbStoreName);
    EXPECT_EQ(L"", helper->usbStoreName2);
    EXPECT_EQ(L"", helper->netStoreName);
    EXPECT_EQ(L"", helper->stagingDir);
    EXPECT_FALSE(helper->reservedOff);
    EXPECT_TRUE(helper->reservedOn);
}

TEST(FixHelper, HoldsItsMembersInOrderWithNothingBetween) {
    static_assert(std::is_standard_layout_v<FixHelper> && !std::is_polymorphic_v<FixHelper>);
    constexpr std::size_t string = sizeof(std::wstring);

    EXPECT_EQ(0 * string, offsetof(FixHelper, usbStorePath));
    EXPECT_EQ(1 * string, offsetof(FixHelper, usbStorePath2));
    EXPECT_EQ(2 * string, offsetof(FixHelper, netStorePath));
    EXPECT_EQ(3 * string, offsetof(FixHelper, usbStoreName));
    EXPECT_EQ(4 * string, offsetof(FixHelper, usbStoreName2));
    EXPECT_EQ(5 * string, offsetof(FixHelper, netStoreName));
    EXPECT_EQ(6 * string, offsetof(FixHelper, stagingDir));
    EXPECT_EQ(7 * string, offsetof(FixHelper, reservedOff));
    EXPECT_EQ(7 * string + 1, offsetof(FixHelper, reservedOn));
}

constexpr const wchar_t* kVistaX64[] = {
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\usbaapl64.inf_amd64_neutral_c0e4d8c2aef471b7",
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\usbaapl64.inf_amd64_neutral_14c8400756ec0e3b",
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\netaapl64.inf_amd64_neutral_56f23639c9617984"};
constexpr const wchar_t* kVistaX86[] = {
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\usbaapl.inf_x86_neutral_e165816441187e06",
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\usbaapl.inf_x86_neutral_b11f4eb7484c8d3b",
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\netaapl.inf_x86_neutral_84f98e613445a1f8"};
constexpr const wchar_t* kLaterX64[] = {
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\usbaapl64.inf_amd64_c0e4d8c2aef471b7",
    L"",
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\netaapl64.inf_amd64_56f23639c9617984"};
constexpr const wchar_t* kLaterX86[] = {
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\usbaapl.inf_x86_e165816441187e06",
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\usbaapl.inf_x86_b11f4eb7484c8d3b",
    L"C:\\Windows\\System32\\DriverStore\\FileRepository\\netaapl.inf_x86_84f98e613445a1f8"};

struct StoreRow {
    const char* name;
    DWORD major, minor;
    bool is64Bit;
    const wchar_t* const* paths;  // usbStorePath, usbStorePath2, netStorePath
};

class InitStorePaths : public testing::TestWithParam<StoreRow> {};

// The last part of a path.
std::wstring Name(const std::wstring& path) {
    return path.substr(path.rfind(L'\\') + 1);
}

TEST_P(InitStorePaths, FillsPathsAndNames) {
    const StoreRow& row = GetParam();
    FakeOs os;
    os.Is64Bit(row.is64Bit);
    FixHelper helper;

    helper.InitStorePaths(row.major, row.minor);

    EXPECT_EQ(row.paths[0], helper.usbStorePath);
    EXPECT_EQ(row.paths[1], helper.usbStorePath2);
    EXPECT_EQ(row.paths[2], helper.netStorePath);
    EXPECT_EQ(Name(row.paths[0]), helper.usbStoreName);
    EXPECT_EQ(Name(row.paths[1]), helper.usbStoreName2);
    EXPECT_EQ(Name(row.paths[2]), helper.netStoreName);
    EXPECT_EQ(L"", helper.stagingDir);
}

INSTANTIATE_TEST_SUITE_P(, InitStorePaths,
                         testing::Values(StoreRow{"Vista64", 6, 0, true, kVistaX64},
                                         StoreRow{"Vista32", 6, 0, false, kVistaX86},
                                         StoreRow{"Seven64", 6, 1, true, kVistaX64},
                                         StoreRow{"Seven32", 6, 1, false, kVistaX86},
                                         StoreRow{"Eight64", 6, 2, true, kLaterX64},
                                         StoreRow{"Eight32", 6, 2, false, kLaterX86},
                                         StoreRow{"EightDotOne64", 6, 3, true, kLaterX64},
                                         StoreRow{"EightDotOne32", 6, 3, false, kLaterX86},
                                         StoreRow{"Major7Minor0", 7, 0, true, kLaterX64},
                                         StoreRow{"Major7Minor1", 7, 1, false, kLaterX86},
                                         StoreRow{"Ten64", 10, 0, true, kLaterX64},
                                         StoreRow{"Ten32", 10, 0, false, kLaterX86}),
                         [](const auto& row) { return row.param.name; });

TEST(FixHelper, KeepsItsSecondFolderNameWhereTheTableHasNone) {
    FakeOs os;
    os.Is64Bit(true);
    FixHelper helper;
    helper.usbStoreName2 = L"kept";

    helper.InitStorePaths(10, 0);

    EXPECT_EQ(L"kept", helper.usbStoreName2);
    EXPECT_EQ(L"C:\\Windows\\System32\\DriverStore\\FileRepository\\kept", helper.usbStorePath2);
}

TEST(FixHelper, ReplacesThePathsWhenTheyAreFilledAgain) {
    FakeOs os;
    os.Is64Bit(true);
    FixHelper helper;

    helper.InitStorePaths(10, 0);
    helper.InitStorePaths(10, 0);

    EXPECT_EQ(kLaterX64[0], helper.usbStorePath);
    EXPECT_EQ(kLaterX64[2], helper.netStorePath);
}

}  // namespace
