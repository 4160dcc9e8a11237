#pragma once

#include <windows.h>

// The function `name` of `module` as a pointer of type `Function`, for functions that not every
// Windows has. Null when `module` is null or has no such function.
template <typename Function>
[[nodiscard]] Function LookUp(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}
