#pragma once

#include <windows.h>

#include <string>

namespace installer {

// The processor that Windows itself is made for, as IMAGE_FILE_MACHINE_*, also when this process is
// run by an emulation.
[[nodiscard]] WORD NativeMachine();

// Why a tool made for `toolMachine` is the wrong one on a Windows made for `nativeMachine`, as a
// sentence; empty when it is the right one. Windows takes driver packages only from programs of its
// own kind.
[[nodiscard]] std::wstring WrongToolMessage(WORD toolMachine, WORD nativeMachine);

#ifdef _WIN64
inline constexpr WORD kToolMachine = IMAGE_FILE_MACHINE_AMD64;
#else
inline constexpr WORD kToolMachine = IMAGE_FILE_MACHINE_I386;
#endif

}  // namespace installer
