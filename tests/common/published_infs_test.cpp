#include "common/published_infs.h"

#include <gtest/gtest.h>

namespace {

using tools::IsOemName;

struct Name {
    const char* description;
    const wchar_t* name;
    bool isOemName;
};

class IsOemNameOf : public testing::TestWithParam<Name> {};

TEST_P(IsOemNameOf, AcceptsOnlyNamesThatWindowsAssigns) {
    EXPECT_EQ(GetParam().isOemName, IsOemName(GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(
    , IsOemNameOf,
    testing::Values(Name{"OneDigit", L"oem0.inf", true}, Name{"ManyDigits", L"oem1234.inf", true},
                    Name{"Capitals", L"OEM7.INF", true}, Name{"NoDigit", L"oem.inf", false},
                    Name{"ALetter", L"oem1a.inf", false},
                    Name{"AnOriginalName", L"usbaapl64.inf", false},
                    Name{"AnotherExtension", L"oem1.pnf", false},
                    Name{"AnotherStart", L"aoem1.inf", false}, Name{"Nothing", L"", false}),
    [](const auto& row) { return row.param.description; });

TEST(MayBePublishedAs, HoldsForWindowsNamesAndForTheOriginalName) {
    EXPECT_TRUE(tools::MayBePublishedAs(L"oem12.inf", L"usbaapl64.inf"));
    EXPECT_TRUE(tools::MayBePublishedAs(L"USBAAPL64.INF", L"usbaapl64.inf"));
    EXPECT_FALSE(tools::MayBePublishedAs(L"netaapl64.inf", L"usbaapl64.inf"));
}

}  // namespace
