#pragma once

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "support/child_process.h"

// The finished libmendloft.dll, loaded while this object lives and used as a host uses it: by the
// names of its exports. Each load starts with fresh state.
class LoadedLibrary {
public:
    explicit LoadedLibrary(const std::wstring& path = BuiltPath())
        : module_(::LoadLibraryW(path.c_str())) {
        if (module_ == nullptr) throw std::runtime_error("cannot load the library");
    }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;
    ~LoadedLibrary() { ::FreeLibrary(module_); }

    [[nodiscard]] static std::wstring BuiltPath() { return ProgramFolder() + L"\\libmendloft.dll"; }

    // Calls one of the repair and setup exports.
    std::int32_t Call(const char* name, std::int32_t argument) const {
        return Find<std::int32_t(__cdecl*)(std::int32_t)>(name)(argument);
    }
    bool PortTest(std::int32_t port) const {
        return Find<bool(__cdecl*)(std::int32_t)>("AMDPortTest")(port);
    }

    [[nodiscard]] HMODULE Module() const { return module_; }

private:
    template <typename Function>
    Function Find(const char* name) const {
        const FARPROC address = ::GetProcAddress(module_, name);
        if (address == nullptr) throw std::runtime_error("not exported");
        return reinterpret_cast<Function>(reinterpret_cast<void*>(address));
    }

    HMODULE module_;
};
