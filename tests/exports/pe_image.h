#pragma once

#include <windows.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

// Reads the headers of a loaded module.
class PeImage {
public:
    explicit PeImage(HMODULE module) : base_(reinterpret_cast<const std::uint8_t*>(module)) {}

    [[nodiscard]] const IMAGE_NT_HEADERS32& Headers() const {
        return *At<IMAGE_NT_HEADERS32>(static_cast<DWORD>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
    }

    [[nodiscard]] std::vector<std::string> ExportedNames() const {
        const IMAGE_EXPORT_DIRECTORY& exports = Exports();
        std::vector<std::string> names;
        for (DWORD i = 0; i < exports.NumberOfNames; ++i) {
            names.emplace_back(At<char>(At<DWORD>(exports.AddressOfNames)[i]));
        }
        return names;
    }

    // The number of exports, including those without a name.
    [[nodiscard]] DWORD ExportCount() const { return Exports().NumberOfFunctions; }
    [[nodiscard]] std::string ExportedLibraryName() const { return At<char>(Exports().Name); }

    // Whether every export lies in a code section, and so is a function.
    [[nodiscard]] bool ExportsOnlyCode() const {
        const IMAGE_EXPORT_DIRECTORY& exports = Exports();
        const DWORD* addresses = At<DWORD>(exports.AddressOfFunctions);
        return std::all_of(addresses, addresses + exports.NumberOfFunctions,
                           [this](DWORD address) { return IsCode(address); });
    }

    // The imported modules, in upper case.
    [[nodiscard]] std::set<std::string> ImportedModules() const {
        std::set<std::string> names;
        VisitImports([&](const IMAGE_IMPORT_DESCRIPTOR&, const std::string& module) {
            names.insert(module);
        });
        return names;
    }

    // The functions imported by name from one module, whose name is given in upper case.
    [[nodiscard]] std::set<std::string> ImportedFrom(const std::string& wanted) const {
        std::set<std::string> names;
        VisitImports([&](const IMAGE_IMPORT_DESCRIPTOR& entry, const std::string& module) {
            if (module != wanted) return;
            for (auto* thunk = At<IMAGE_THUNK_DATA32>(entry.OriginalFirstThunk);
                 thunk->u1.AddressOfData != 0; ++thunk) {
                names.emplace(At<char>(thunk->u1.AddressOfData + sizeof(WORD)));
            }
        });
        return names;
    }

private:
    template <typename T>
    [[nodiscard]] const T* At(DWORD address) const {
        return reinterpret_cast<const T*>(base_ + address);
    }
    [[nodiscard]] const IMAGE_EXPORT_DIRECTORY& Exports() const {
        return *At<IMAGE_EXPORT_DIRECTORY>(Directory(IMAGE_DIRECTORY_ENTRY_EXPORT));
    }
    [[nodiscard]] DWORD Directory(int index) const {
        return Headers().OptionalHeader.DataDirectory[index].VirtualAddress;
    }
    [[nodiscard]] bool IsCode(DWORD address) const {
        const auto* section = IMAGE_FIRST_SECTION(&Headers());
        for (WORD i = 0; i < Headers().FileHeader.NumberOfSections; ++i, ++section) {
            if (address >= section->VirtualAddress &&
                address < section->VirtualAddress + section->Misc.VirtualSize) {
                return (section->Characteristics & IMAGE_SCN_CNT_CODE) != 0;
            }
        }
        return false;
    }
    template <typename Visit>
    void VisitImports(Visit visit) const {
        const DWORD imports = Directory(IMAGE_DIRECTORY_ENTRY_IMPORT);
        for (auto* entry = At<IMAGE_IMPORT_DESCRIPTOR>(imports); entry->Name != 0; ++entry) {
            std::string name = At<char>(entry->Name);
            for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            visit(*entry, name);
        }
    }

    const std::uint8_t* base_;
};
