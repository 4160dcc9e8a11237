#include "core/library_state.h"

HMODULE g_libraryModule = nullptr;
std::wstring StagedUsbInfPath;
std::wstring StagedNetInfPath;
