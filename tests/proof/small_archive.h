#pragma once

#include <windows.h>

#include <string>

#include "support/child_process.h"
#include "support/fake_api.h"
#include "support/temporary_folder.h"

// Replaces the driver archive of a loaded library with one of a few files, which unpacks quickly.
// Every export finds what it needs in it.
class SmallArchive {
public:
    explicit SmallArchive(HMODULE library)
        : lock_([this](HGLOBAL) { return bytes_.data(); }, library),
          size_([this](HMODULE, HRSRC) { return static_cast<DWORD>(bytes_.size()); }, library) {}

private:
    std::string bytes_ = FileContent(ProgramFolder() + L"\\small_driver_archive.7z");
    FakeApi<"LockResource", decltype(::LockResource)> lock_;
    FakeApi<"SizeofResource", decltype(::SizeofResource)> size_;
};
