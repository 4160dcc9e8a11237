#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "archive/archive_format.h"

namespace SevenZip {

// One archive file on disk and what is known about it. Nothing is read before it is asked for. For
// one thread at a time.
class SevenZipArchive {
public:
    SevenZipArchive() = default;
    SevenZipArchive(const SevenZipArchive&) = default;
    SevenZipArchive& operator=(const SevenZipArchive&) = default;
    virtual ~SevenZipArchive();

    // Names the archive file; always returns true. What was read before stays as it is.
    virtual bool SetArchivePath(const std::wstring& path);

    // Detects the format, unless one was set, and reads the item list anew. Returns whether both
    // worked.
    virtual bool ReadMetadata();

    // Sets the format instead of having it detected.
    virtual void SetFormat(ArchiveFormat newFormat);

    // The format that was set, or else that of the file.
    virtual ArchiveFormat GetFormat();

    // The level is kept for the caller; reading does not need one.
    virtual void SetCompressionLevel(std::uint32_t level);
    virtual std::uint32_t GetCompressionLevel();

    // Finds the format out from the file's content, also after one was set. Returns false, with the
    // format unknown, when the file cannot be read or is no archive of a format in ArchiveFormat.
    virtual bool DetectFormat();

    // The number of items, their paths inside the archive and their sizes in bytes (the lower 32
    // bits), in the archive's order. Empty when the archive cannot be read.
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
