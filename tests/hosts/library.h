#pragma once

#include <windows.h>

#include <mendloft/mendloft.h>

#include "hosts/setting.h"

// libmendloft.dll or a copy of it, loaded while this object lives.
class Library {
public:
    explicit Library(const Path& file) : module_(::LoadLibraryW(file.text)) {}
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() {
        if (module_ != nullptr) (void)::FreeLibrary(module_);
    }

    [[nodiscard]] HMODULE Module() const { return module_; }

    // Calls one of the repair and setup exports.
    [[nodiscard]] int Call(const char* name, int argument) const {
        return Find<MendloftSetupFunction>(name)(argument);
    }
    [[nodiscard]] bool PortTest(int port) const {
        return Find<MendloftPortTestFunction>("AMDPortTest")(port);
    }

private:
    template <typename Function>
    [[nodiscard]] Function Find(const char* name) const {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module_, name)));
    }

    HMODULE module_;
};

inline Path BuiltLibrary() {
    return BesideTheProgram(L"libmendloft.dll");
}

// The embedded driver archive of a loaded library.
struct EmbeddedArchive {
    explicit EmbeddedArchive(HMODULE library) {
        const HRSRC resource = ::FindResourceW(library, MAKEINTRESOURCEW(102), L"DRIVER");
        bytes = static_cast<const BYTE*>(::LockResource(::LoadResource(library, resource)));
        size = ::SizeofResource(library, resource);
    }

    const BYTE* bytes;
    DWORD size;
};

// The content of a file, which can be changed and written to another one.
class FileBytes {
public:
    explicit FileBytes(const Path& file) {
        const HANDLE handle = ::CreateFileW(file.text, GENERIC_READ, FILE_SHARE_READ, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (handle == INVALID_HANDLE_VALUE) return;
        const DWORD size = ::GetFileSize(handle, nullptr);
        bytes_ = static_cast<BYTE*>(::HeapAlloc(::GetProcessHeap(), 0, size));
        if (bytes_ != nullptr) (void)::ReadFile(handle, bytes_, size, &size_, nullptr);
        (void)::CloseHandle(handle);
    }
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;
    ~FileBytes() { (void)::HeapFree(::GetProcessHeap(), 0, bytes_); }

    // The only place of a block of bytes in the file. Null when it is not there exactly once.
    [[nodiscard]] BYTE* Find(const BYTE* block, DWORD length) const {
        BYTE* found = nullptr;
        for (DWORD at = 0; at + length <= size_; ++at) {
            if (!IsEqual(bytes_ + at, block, length)) continue;
            if (found != nullptr) return nullptr;
            found = bytes_ + at;
        }
        return found;
    }

    [[nodiscard]] bool WriteTo(const Path& file) const {
        const HANDLE handle = ::CreateFileW(file.text, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                            FILE_ATTRIBUTE_NORMAL, nullptr);
        if (handle == INVALID_HANDLE_VALUE) return false;
        DWORD written = 0;
        (void)::WriteFile(handle, bytes_, size_, &written, nullptr);
        (void)::CloseHandle(handle);
        return size_ != 0 && written == size_;
    }

private:
    static bool IsEqual(const BYTE* one, const BYTE* other, DWORD length) {
        for (DWORD i = 0; i < length; ++i) {
            if (one[i] != other[i]) return false;
        }
        return true;
    }

    BYTE* bytes_ = nullptr;
    DWORD size_ = 0;
};

// Writes a copy of the library whose embedded archive has another last byte. The byte belongs to
// the archive's directory, which has a checksum: 7-Zip throws an exception when it reads the
// directory, and catches the exception itself.
inline bool WriteDamagedLibrary(const Path& to) {
    const Library library(BuiltLibrary());
    if (library.Module() == nullptr) return false;
    const EmbeddedArchive archive(library.Module());
    const FileBytes file(BuiltLibrary());
    BYTE* const place = file.Find(archive.bytes, archive.size);
    if (place == nullptr) return false;
    place[archive.size - 1] ^= 0xFF;
    return file.WriteTo(to);
}
