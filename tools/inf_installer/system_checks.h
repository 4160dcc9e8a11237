#pragma once

#include <windows.h>

#include <string>

namespace installer {

// The processor that Windows itself was built for, as IMAGE_FILE_MACHINE_*, even when this process
// is emulated.
[[nodiscard]] WORD NativeMachine();

// Why a tool that was built for `toolMachine` is the wrong one on a Windows for `nativeMachine`, as
// a sentence; empty when it is the right one. Windows accepts driver packages only from programs
// that were built for its own processor.
[[nodiscard]] std::wstring WrongToolMessage(WORD toolMachine, WORD nativeMachine);

// The processor that this tool was built for.
#ifdef _WIN64
inline constexpr WORD kToolMachine = IMAGE_FILE_MACHINE_AMD64;
#else
inline constexpr WORD kToolMachine = IMAGE_FILE_MACHINE_I386;
#endif

}  // namespace installer
