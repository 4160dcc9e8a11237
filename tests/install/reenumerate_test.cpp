#include "install/reenumerate.h"

#include <windows.h>
#include <cfgmgr32.h>

#include <gmock/gmock.h>

#include "support/captured_output.h"
#include "support/fake_api.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ReenumerateDevicesTest : public testing::Test {
protected:
    std::vector<std::string> calls;
    CONFIGRET locateResult = CR_SUCCESS;
    CONFIGRET reenumerateResult = CR_SUCCESS;
    DEVINST handedIn = 1, reenumerated = 0;
    ULONG locateFlags = 1, reenumerateFlags = 1;
    bool namedADevice = true;

    FakeApi<"CM_Locate_DevNodeW", decltype(::CM_Locate_DevNodeW)> locate{
        [this](DEVINST* device, DEVINSTID_W id, ULONG flags) {
            calls.emplace_back("locate");
            handedIn = *device;
            namedADevice = id != nullptr;
            locateFlags = flags;
            *device = 0x77;
            return locateResult;
        }};
    FakeApi<"CM_Reenumerate_DevNode", decltype(::CM_Reenumerate_DevNode)> reenumerate{
        [this](DEVINST device, ULONG flags) {
            calls.emplace_back("reenumerate");
            reenumerated = device;
            reenumerateFlags = flags;
            return reenumerateResult;
        }};
    CapturedDebugOutput debug;
    CapturedStandardOutput output;
};

TEST_F(ReenumerateDevicesTest, RescansFromTheRootOfTheDeviceTree) {
    EXPECT_EQ(1, ReenumerateDevices());

    EXPECT_THAT(calls, ElementsAre("locate", "reenumerate"));
    EXPECT_EQ(0u, handedIn);
    EXPECT_FALSE(namedADevice);
    EXPECT_EQ(0u, locateFlags);
    EXPECT_EQ(0x77u, reenumerated);
    EXPECT_EQ(0u, reenumerateFlags);
    EXPECT_EQ("", output.Text());
}

TEST_F(ReenumerateDevicesTest, SkipsTheRescanWhenTheRootIsNotFound) {
    locateResult = 0xD;

    EXPECT_EQ(0, ReenumerateDevices());

    EXPECT_THAT(calls, ElementsAre("locate"));
    EXPECT_EQ("CM_Locate_DevNode failed: d\n", output.Text());
}

TEST_F(ReenumerateDevicesTest, ReportsTheErrorCodeOfAFailedRescanInBareLowerCaseHexadecimal) {
    reenumerateResult = 0xAB;

    EXPECT_EQ(0, ReenumerateDevices());

    EXPECT_EQ("CM_Reenumerate_DevNode failed: ab\n", output.Text());
}

TEST_F(ReenumerateDevicesTest, WritesNothingToTheDebuggerOutput) {
    locateResult = 0x13;

    ReenumerateDevices();

    EXPECT_THAT(debug.messages, IsEmpty());
}

}  // namespace
