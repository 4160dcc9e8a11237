#include "mendloftctl/device_service.h"

#include <windows.h>

#include "common/system_text.h"
#include "common/text.h"
#include "platform/unique_handle.h"

namespace ctl {

using tools::SystemText;
using tools::ToUtf8;

namespace {

// How Unique (platform/unique_handle.h) holds and closes a handle of the service manager.
struct ServiceTraits {
    using Value = SC_HANDLE;
    static Value Empty() noexcept { return nullptr; }
    static void Close(Value value) noexcept { ::CloseServiceHandle(value); }
};
using UniqueService = Unique<ServiceTraits>;

std::string WhyNotQueried(DWORD error) {
    return "cannot be queried: " + ToUtf8(SystemText(error));
}

std::string NameOf(DWORD state) {
    switch (state) {
        case SERVICE_RUNNING:
            return "running";
        case SERVICE_STOPPED:
            return "stopped";
        case SERVICE_START_PENDING:
            return "starting";
        case SERVICE_STOP_PENDING:
            return "stopping";
        // The other states are paused, about to pause and about to continue.
        default:
            return "paused";
    }
}

}  // namespace

std::string DeviceServiceState() {
    // Both handles are opened with the one right that is needed, which users have by default.
    const UniqueService manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) return WhyNotQueried(::GetLastError());
    const UniqueService service(
        ::OpenServiceW(manager.Get(), kDeviceServiceName, SERVICE_QUERY_STATUS));
    if (!service) {
        const DWORD error = ::GetLastError();
        return error == ERROR_SERVICE_DOES_NOT_EXIST ? "not installed" : WhyNotQueried(error);
    }
    SERVICE_STATUS status{};
    if (!::QueryServiceStatus(service.Get(), &status)) return WhyNotQueried(::GetLastError());
    return NameOf(status.dwCurrentState);
}

}  // namespace ctl
