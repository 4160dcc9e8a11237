#pragma once

// Ends every running process whose program is named exactly "WerFault.exe" (Windows Error
// Reporting), with exit code 9. A process that cannot be opened or ended is left alone. May be
// called from any thread.
void KillWerFault();
