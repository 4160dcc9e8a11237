#pragma once

#include <windows.h>

#include <string>

// What outlives a single call, for as long as the library is loaded. Nothing here is locked: the
// host makes one repair or setup call at a time.

// The library's own module, with which it finds its resource and its folder. Set when a process
// attaches; null before that.
extern HMODULE g_libraryModule;

// The paths of the staged INF files of the two older driver packages. They are empty at load. The
// driver copy sets both, and the USB setup may set the first. They are never cleared: later setup
// calls of the same process use the same files and do not stage the archive again, even when a file
// no longer exists.
extern std::wstring StagedUsbInfPath;
extern std::wstring StagedNetInfPath;
