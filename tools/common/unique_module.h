#pragma once

#include <windows.h>

#include "platform/unique_handle.h"

namespace tools {

struct ModuleTraits {
    using Value = HMODULE;
    static Value Empty() noexcept { return nullptr; }
    static void Close(Value value) noexcept { ::FreeLibrary(value); }
};

// Owns one reference to a loaded module.
using UniqueModule = Unique<ModuleTraits>;

}  // namespace tools
