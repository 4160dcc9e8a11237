#pragma once

#include <windows.h>

// Formatted messages for whoever watches the library. Nothing is put before or behind the text, so
// a message ends its line itself. In wide formats %s names a wide string, as it does in the Windows
// C runtime. All three may be called from any thread.

// Writes to the debugger output channel. Messages are at most 4,095 characters long; a longer one
// is a formatting error and comes out empty.
void DebugLog(const wchar_t* format, ...);

// Writes to the standard output of the host process.
void ConsolePrintW(const wchar_t* format, ...);

// Writes to the standard output of the host process; returns the number of characters written, or a
// negative number when the runtime reports an error.
int ConsolePrintA(const char* format, ...);
