#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/archive_format.h"

namespace SevenZip {

// One archive file on disk and what is known about it. The file is read only when a function needs
// it. Not for use by several threads at once.
//
// The virtual functions and the protected members keep this order: a release DLL has no symbols, so
// whoever reads a host's crash dump finds a virtual function by its slot and a member by its offset
// (a test holds the order of the members).
class SevenZipArchive {
public:
    SevenZipArchive() = default;
    SevenZipArchive(const SevenZipArchive&) = default;
    SevenZipArchive& operator=(const SevenZipArchive&) = default;
    virtual ~SevenZipArchive();

    // Sets the path of the archive file. Always returns true. Metadata that was read before stays.
    virtual bool SetArchivePath(const std::wstring& path);

    // Detects the format, unless one was set, and reads the item list. Returns whether both worked.
    // The getters below call it when nothing was read before, so a derived class may replace it.
    virtual bool ReadMetadata();

    // Sets the format, so that it is not detected. The item list is read again when it is needed.
    virtual void SetFormat(ArchiveFormat newFormat);

    // The format that was set, or else the format of the file.
    virtual ArchiveFormat GetFormat();

    // The level is only stored for the caller. Reading an archive does not use it.
    virtual void SetCompressionLevel(std::uint32_t level);
    virtual std::uint32_t GetCompressionLevel();

    // Detects the format from the content of the file, also when one was set. Returns false, with
    // the format unknown, when the file cannot be read or is not an archive of a format in
    // ArchiveFormat.
    virtual bool DetectFormat();

    // The number of items, their paths inside the archive, and their sizes in bytes (the low 32
    // bits), in the order of the archive. 0 or empty when the archive cannot be read.
    virtual std::uint32_t GetItemCount();
    virtual std::vector<std::wstring> GetItemNames();
    virtual std::vector<std::uint32_t> GetItemSizes();

protected:
    bool metadataRead = false;  // the item list below has been read
    bool formatForced = false;  // the format was set, not detected
    std::wstring archivePath;
    ArchiveFormat format = ArchiveFormat::k7z;
    std::uint32_t compressionLevel = 0;
    std::uint32_t itemCount = 0;
    std::vector<std::wstring> itemNames;
    std::vector<std::uint32_t> itemSizes;

private:
    void EnsureMetadata();
    bool FindFormat();
    bool ReadItems();
};

}  // namespace SevenZip
