#pragma once

#include <windows.h>

#include <cstdlib>

[[nodiscard]] inline bool IsWine() {
    return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

// Whether the tests may change the system as the library does. On a machine in use they must not.
[[nodiscard]] inline bool MayChangeTheSystem() {
    return IsWine() || std::getenv("MENDLOFT_TESTS_MAY_CHANGE_THIS_SYSTEM") != nullptr;
}
