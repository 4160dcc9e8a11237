#pragma once

// Windows Error Reporting's program, in the spelling of Windows' own file.
inline constexpr const wchar_t* kCrashReporter = L"WerFault.exe";

// Ends every running process whose program is named exactly kCrashReporter, case included, with
// exit code 9. A process that cannot be opened or ended is left alone. May be
// called from any thread.
void KillWerFault();
