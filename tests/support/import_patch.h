#pragma once

#include <windows.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// Replaces one function that a loaded module imports while the patch lives. Catches only calls that
// the module itself makes through its import table. Throws std::logic_error when the module does
// not import the function: a test must not pass because its fake is never called.
class ImportPatch {
public:
    ImportPatch(HMODULE module, std::string_view function, void* replacement) {
        VisitImports(module, [&](std::string_view name, void** slot) {
            if (name == function) Replace(slot, replacement);
        });
        if (slots_.empty()) throw std::logic_error("not imported: " + std::string(function));
    }
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;
    ~ImportPatch() { Restore(); }

    void Restore() {
        for (const Slot& slot : slots_) Write(slot.place, slot.original);
    }

    [[nodiscard]] void* Original() const { return slots_.front().original; }

    // Calls `visit(name, slot)` for every function that `module` imports by name.
    template <typename Visit>
    static void VisitImports(HMODULE module, Visit visit) {
        auto* const base = reinterpret_cast<std::uint8_t*>(module);
        const auto* dos = reinterpret_cast<IMAGE_DOS_HEADER*>(base);
        const auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
        const auto& directory = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        if (directory.Size == 0) return;
        for (auto* entry =
                 reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
             entry->Name != 0; ++entry) {
            auto* name = reinterpret_cast<IMAGE_THUNK_DATA*>(base + entry->OriginalFirstThunk);
            auto* slot = reinterpret_cast<IMAGE_THUNK_DATA*>(base + entry->FirstThunk);
            for (; name->u1.AddressOfData != 0; ++name, ++slot) {
                if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
                const auto* byName =
                    reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
                visit(std::string_view(reinterpret_cast<const char*>(byName->Name)),
                      reinterpret_cast<void**>(&slot->u1.Function));
            }
        }
    }

private:
    struct Slot {
        void** place;
        void* original;
    };

    void Replace(void** place, void* replacement) {
        slots_.push_back({place, *place});
        Write(place, replacement);
    }

    static void Write(void** place, void* value) {
        DWORD protection = 0;
        ::VirtualProtect(place, sizeof(*place), PAGE_READWRITE, &protection);
        *place = value;
        ::VirtualProtect(place, sizeof(*place), protection, &protection);
    }

    std::vector<Slot> slots_;
};
