#pragma once

#include <windows.h>

#include <cstdlib>

// The major version of Wine; 0 on Windows.
[[nodiscard]] inline int WineVersion() {
    using Version = const char*(__cdecl*)();
    const auto version = reinterpret_cast<Version>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version")));
    return version == nullptr ? 0 : std::atoi(version());
}

[[nodiscard]] inline bool IsWine() {
    return WineVersion() != 0;
}

// Whether the tests may change the system as the library does. On a machine in use they must not.
[[nodiscard]] inline bool MayChangeTheSystem() {
    return IsWine() || std::getenv("MENDLOFT_TESTS_MAY_CHANGE_THIS_SYSTEM") != nullptr;
}
