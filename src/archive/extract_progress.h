#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace SevenZip {

// What `SevenZipExtractor::ExtractTo` reports to its caller and asks the caller, on the thread of
// that call. The caller owns the object. An exception thrown here ends the extraction and leaves
// ExtractTo.
//
// The functions keep this order: a release DLL has no symbols, so whoever reads a host's crash dump
// finds a virtual function by its slot.
class ExtractProgress {
public:
    // The archive contains `count` items. Returns false to skip OnItemList; the extraction goes on.
    virtual bool OnItemCount(std::uint32_t count) = 0;

    // The path inside the archive and the size in bytes of each item. A path that the archive does
    // not store is empty, and a size that it does not store is 0. Returns false to extract nothing;
    // ExtractTo then returns 0.
    virtual bool OnItemList(const std::vector<std::wstring>& names,
                            const std::vector<std::uint64_t>& sizes) = 0;

    // `total` bytes are to be unpacked. `path` is the file that is being written, and empty before
    // the first one.
    virtual void OnTotal(const std::wstring& path, std::uint64_t total) = 0;

    // The numbers of bytes read and unpacked so far. A number that 7-Zip does not know is 0.
    virtual void OnRatio(std::uint64_t in, std::uint64_t out) = 0;

    // The file at `path` is complete, damaged or not, and OnFileWritten has accepted it.
    virtual void OnFileDone(const std::wstring& path, std::uint64_t size) = 0;

    // With the archive's path: the extraction has ended, with success or without. With the
    // destination folder: an item for which no file is written, such as a folder, is done.
    virtual void OnArchiveDone(const std::wstring& path) = 0;

    // Returns whether to extract the item. `directory` is the destination and ends in a separator.
    virtual bool ShouldExtract(const std::wstring& directory, const std::wstring& relativePath,
                               bool isDirectory) = 0;

    // The file at `path` is written and has its times and attributes. `size` is what the archive
    // stores. Returns false to end the extraction with a failure.
    virtual bool OnFileWritten(const std::wstring& path, std::uint64_t size) = 0;

    // A written file is about to be undone. First: its path. Second: the path of the file that was
    // there before and is moved back; when it is empty, the written file is deleted.
    virtual void OnRollback(const std::pair<std::wstring, std::wstring>& replacement) = 0;

protected:
    ~ExtractProgress() = default;
};

}  // namespace SevenZip
