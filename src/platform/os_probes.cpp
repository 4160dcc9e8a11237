#include "platform/os_probes.h"

#include "platform/function_lookup.h"

std::int32_t GetOsVersion(RTL_OSVERSIONINFOW& version) {
    using RtlGetVersion = LONG(WINAPI*)(RTL_OSVERSIONINFOW*);
    static_assert(sizeof(RTL_OSVERSIONINFOW) == 276);

    const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    if (ntdll == nullptr) return 0;
    const auto rtlGetVersion = LookUp<RtlGetVersion>(ntdll, "RtlGetVersion");
    if (rtlGetVersion == nullptr) return 0;

    version.dwOSVersionInfoSize = sizeof(version);
    (void)rtlGetVersion(&version);
    return 1;
}

RTL_OSVERSIONINFOW WindowsVersion() {
    RTL_OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    (void)GetOsVersion(version);
    return version;
}

bool IsOs64Bit() {
    using GetNativeSystemInfo = void(WINAPI*)(SYSTEM_INFO*);

    SYSTEM_INFO info{};
    const auto getNativeSystemInfo =
        LookUp<GetNativeSystemInfo>(::GetModuleHandleW(L"kernel32"), "GetNativeSystemInfo");
    if (getNativeSystemInfo != nullptr) {
        getNativeSystemInfo(&info);
    } else {
        ::GetSystemInfo(&info);
    }

    // ARM64 does not count as 64-bit: no driver package is for ARM64, and every ARM64 Windows runs
    // x86 programs such as the x86 installer tool, while some cannot run x64 ones.
    return info.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64 ||
           info.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_IA64;
}
