#pragma once

// The program of Windows Error Reporting, spelled like its file in Windows.
inline constexpr const wchar_t* kCrashReporter = L"WerFault.exe";

// Ends every running process whose program is named exactly kCrashReporter (compared
// case-sensitively), with exit code 9. A process that cannot be opened or ended is left alone. May
// be called from any thread.
void KillWerFault();
