#pragma once

#include <windows.h>

#include <string>

// What outlives a single call, for as long as the library is loaded. Nothing here is locked: the
// host makes one repair or setup call at a time.

// The library's own module, stored when a process attaches; null before.
extern HMODULE g_libraryModule;

// The staged INF files of the two older driver packages. Empty at load, set when drivers are copied
// into the driver store (the first also by its setup flow), and never cleared: later setup calls of
// the same process reuse them instead of staging again.
extern std::wstring StagedUsbInfPath;
extern std::wstring StagedNetInfPath;
