#include "platform/os_probes.h"

#include <gtest/gtest.h>

#include "support/fake_os.h"

namespace {

TEST(GetOsVersion, FillsTheRecordWithTheRealWindowsVersion) {
    RTL_OSVERSIONINFOW version{};

    EXPECT_EQ(1, GetOsVersion(version));

    EXPECT_EQ(276u, version.dwOSVersionInfoSize);
    EXPECT_EQ(PrefixVersion(), std::to_string(version.dwMajorVersion) + "." +
                                   std::to_string(version.dwMinorVersion));
}

TEST(GetOsVersion, ReturnsZeroAndLeavesTheRecordAloneWithoutNtdll) {
    const FakeApi<"GetModuleHandleW", decltype(::GetModuleHandleW)> noNtdll(
        [](const wchar_t*) { return nullptr; });
    RTL_OSVERSIONINFOW version{};
    version.dwMajorVersion = 77;

    EXPECT_EQ(0, GetOsVersion(version));

    EXPECT_EQ(77u, version.dwMajorVersion);
    EXPECT_EQ(0u, version.dwOSVersionInfoSize);
}

TEST(GetOsVersion, ReturnsZeroAndLeavesTheRecordAloneWithoutRtlGetVersion) {
    FakeOs os;
    os.WithoutRtlGetVersion();
    RTL_OSVERSIONINFOW version{};
    version.dwMajorVersion = 77;

    EXPECT_EQ(0, GetOsVersion(version));

    EXPECT_EQ(77u, version.dwMajorVersion);
    EXPECT_EQ(0u, version.dwOSVersionInfoSize);
}

TEST(GetOsVersion, ReturnsOneEvenWhenTheSystemCallFails) {
    FakeOs os;
    os.Version(6, 1, /*status=*/static_cast<LONG>(0xC0000001));
    RTL_OSVERSIONINFOW version{};

    EXPECT_EQ(1, GetOsVersion(version));
}

TEST(GetOsVersion, SetsTheRecordSizeBeforeTheCall) {
    FakeOs os;
    os.Version(6, 1);
    RTL_OSVERSIONINFOW version{};

    GetOsVersion(version);

    EXPECT_EQ(276u, os.askedWithSize);
}

TEST(WindowsVersion, IsTheRealVersion) {
    const RTL_OSVERSIONINFOW version = WindowsVersion();

    EXPECT_EQ(PrefixVersion(), std::to_string(version.dwMajorVersion) + "." +
                                   std::to_string(version.dwMinorVersion));
}

TEST(WindowsVersion, IsZeroWhereWindowsHasNoSuchFunction) {
    FakeOs os;
    os.WithoutRtlGetVersion();

    const RTL_OSVERSIONINFOW version = WindowsVersion();

    EXPECT_EQ(0u, version.dwMajorVersion);
    EXPECT_EQ(0u, version.dwMinorVersion);
}

TEST(IsOs64Bit, ReportsTheBitnessOfWindowsEvenInA32BitProcess) {
    EXPECT_EQ(PrefixIs64Bit(), IsOs64Bit());
}

struct Architecture {
    const char* name;
    WORD value;
    bool is64Bit;
};

class IsOs64BitForArchitecture : public testing::TestWithParam<Architecture> {};

TEST_P(IsOs64BitForArchitecture, FollowsTheNativeArchitecture) {
    FakeOs os;
    os.Architecture(GetParam().value);

    EXPECT_EQ(GetParam().is64Bit, IsOs64Bit());
}

INSTANTIATE_TEST_SUITE_P(
    , IsOs64BitForArchitecture,
    testing::Values(Architecture{"Intel", 0, false}, Architecture{"Arm", 5, false},
                    Architecture{"Itanium", 6, true}, Architecture{"Amd64", 9, true},
                    Architecture{"Arm64", 12, false}, Architecture{"Unknown", 0xFFFF, false}),
    [](const auto& row) { return row.param.name; });

TEST(IsOs64Bit, UsesGetSystemInfoWhereGetNativeSystemInfoIsMissing) {
    FakeOs os;
    os.WithoutGetNativeSystemInfo();
    WORD architecture = 9;
    const FakeApi<"GetSystemInfo", decltype(::GetSystemInfo)> ofProcess(
        [&](SYSTEM_INFO* info) { info->wProcessorArchitecture = architecture; });

    EXPECT_TRUE(IsOs64Bit());
    architecture = 0;
    EXPECT_FALSE(IsOs64Bit());
}

TEST(IsOs64Bit, AsksTheSystemOnEveryCall) {
    FakeOs os;

    os.Architecture(9);
    EXPECT_TRUE(IsOs64Bit());
    os.Architecture(0);
    EXPECT_FALSE(IsOs64Bit());
}

TEST(IsOs64Bit, PassesAZeroedRecord) {
    FakeOs os;
    os.ArchitectureUntouched();

    EXPECT_FALSE(IsOs64Bit());
}

}  // namespace
