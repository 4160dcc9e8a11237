#pragma once

#include <windows.h>

#include "platform/unique_handle.h"

namespace tools {

// How Unique (platform/unique_handle.h) holds and frees a module.
struct ModuleTraits {
    using Value = HMODULE;
    static Value Empty() noexcept { return nullptr; }
    static void Close(Value value) noexcept { ::FreeLibrary(value); }
};

// Owns one reference to a loaded module. The last reference unloads it.
using UniqueModule = Unique<ModuleTraits>;

}  // namespace tools
