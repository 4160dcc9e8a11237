#pragma once

#include <windows.h>

#include <span>
#include <string_view>

#include "proof/failing_call.h"

// A function that the finished library imports, and how it fails.
struct ImportedFunction {
    enum class Kind {
        kCall,    // a failure has to end in a documented result
        kMemory,  // a failure may also raise an exception that says so in the host
        kSafe,    // never made to fail, for the reason given
    };

    std::string_view name;
    Kind kind = Kind::kSafe;
    const char* reason = nullptr;  // of kSafe only

    // Of the others only: the stand-in, the function that it replaces, and when it fails.
    void* standIn = nullptr;
    void** original = nullptr;
    CallPlan* plan = nullptr;
};

// Everything that the finished library imports.
[[nodiscard]] std::span<const ImportedFunction> ImportedFunctions();
