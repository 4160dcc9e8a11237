#pragma once

#include <windows.h>

// Formatted messages of the library. Nothing is added to the text, so a message that ends a line
// contains the line end. In wide formats %s names a wide string, as in the Windows C runtime. All
// three functions may be called from any thread.

// Writes to the debugger output channel. A message has at most 4,095 characters. A longer one is a
// formatting error, and an empty text is written instead.
void DebugLog(const wchar_t* format, ...);

// Writes to the standard output of the host process.
void ConsolePrintW(const wchar_t* format, ...);

// Writes to the standard output of the host process. Returns the number of characters written, or a
// negative number when the runtime reports an error.
int ConsolePrintA(const char* format, ...);
