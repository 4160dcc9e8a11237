#include "inf_installer/system_checks.h"

#include "platform/function_lookup.h"
#include "platform/os_probes.h"

namespace installer {

WORD NativeMachine() {
    using IsWow64Process2 =
        BOOL(WINAPI*)(HANDLE process, USHORT * processMachine, USHORT * nativeMachine);

    // On ARM64 the older probes describe the emulated processor to an emulated process. Only this
    // function names the real one. Windows has it since Windows 10, version 1511.
    const auto isWow64Process2 =
        LookUp<IsWow64Process2>(::GetModuleHandleW(L"kernel32"), "IsWow64Process2");
    USHORT processMachine = 0;
    USHORT nativeMachine = 0;
    if (isWow64Process2 != nullptr &&
        isWow64Process2(::GetCurrentProcess(), &processMachine, &nativeMachine)) {
        return nativeMachine;
    }
    return IsOs64Bit() ? IMAGE_FILE_MACHINE_AMD64 : IMAGE_FILE_MACHINE_I386;
}

std::wstring WrongToolMessage(WORD toolMachine, WORD nativeMachine) {
    if (toolMachine == nativeMachine) return L"";
    switch (nativeMachine) {
        case IMAGE_FILE_MACHINE_AMD64:
            return L"This is the tool for 32-bit Windows, and this Windows is 64-bit: use "
                   L"InfInstallerx64.exe.";
        case IMAGE_FILE_MACHINE_I386:
            return L"This is the tool for 64-bit Windows, and this Windows is 32-bit: use "
                   L"InfInstallerx86.exe.";
        default:
            return L"This Windows runs on a processor for which there is neither a tool nor a "
                   L"driver package (such as ARM64): driver packages cannot be installed or "
                   L"removed here.";
    }
}

}  // namespace installer
