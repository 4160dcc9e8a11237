#include "mendloftctl/device_service.h"

#include <windows.h>

#include <gmock/gmock.h>

#include "support/fake_api.h"

namespace {

using testing::StartsWith;

TEST(DeviceService, IsNotInstalledWhenTheServiceManagerDoesNotKnowIt) {
    EXPECT_EQ("not installed", ctl::DeviceServiceState());
}

TEST(DeviceService, CannotBeAskedForWithoutTheServiceManager) {
    const FakeApi<"OpenSCManagerW", decltype(::OpenSCManagerW)> refuse([](auto...) -> SC_HANDLE {
        ::SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    });

    EXPECT_THAT(ctl::DeviceServiceState(), StartsWith("cannot be queried: "));
}

struct StateRow {
    DWORD state;
    const char* name;
};

class EveryServiceState : public testing::TestWithParam<StateRow> {};

TEST_P(EveryServiceState, HasAName) {
    const SC_HANDLE handle = reinterpret_cast<SC_HANDLE>(std::uintptr_t{1});
    const FakeApi<"OpenServiceW", decltype(::OpenServiceW)> open([&](auto...) { return handle; });
    const FakeApi<"CloseServiceHandle", decltype(::CloseServiceHandle)> close(
        [](SC_HANDLE) { return TRUE; });
    const FakeApi<"QueryServiceStatus", decltype(::QueryServiceStatus)> query(
        [&](SC_HANDLE, SERVICE_STATUS* status) {
            status->dwCurrentState = GetParam().state;
            return TRUE;
        });

    EXPECT_EQ(GetParam().name, ctl::DeviceServiceState());
}

INSTANTIATE_TEST_SUITE_P(DeviceService, EveryServiceState,
                         testing::Values(StateRow{SERVICE_RUNNING, "running"},
                                         StateRow{SERVICE_STOPPED, "stopped"},
                                         StateRow{SERVICE_START_PENDING, "starting"},
                                         StateRow{SERVICE_STOP_PENDING, "stopping"},
                                         StateRow{SERVICE_PAUSED, "paused"}),
                         [](const auto& test) { return test.param.name; });

}  // namespace
