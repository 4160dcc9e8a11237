#pragma once

#include <windows.h>

#include <cstdlib>

[[nodiscard]] inline bool IsWine() {
    return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

// The tests do to the system what the library does to it, which nobody wants on a machine in use.
[[nodiscard]] inline bool MayChangeTheSystem() {
    return IsWine() || std::getenv("MENDLOFT_TESTS_MAY_CHANGE_THIS_SYSTEM") != nullptr;
}
