#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace SevenZip {

// What a caller of `SevenZipExtractor::ExtractTo` may be told and asked while it runs, on the
// thread of that call. An exception thrown here ends the extraction and leaves ExtractTo. The
// object stays the caller's.
class ExtractProgress {
public:
    // The archive holds `count` items. False: the item list is not made.
    virtual bool OnItemCount(std::uint32_t count) = 0;

    // Paths inside the archive and sizes in bytes, one of each per item; a path that the archive
    // does not store is empty, a size that it does not store is 0. False: nothing is extracted, and
    // ExtractTo succeeds.
    virtual bool OnItemList(const std::vector<std::wstring>& names,
                            const std::vector<std::uint64_t>& sizes) = 0;

    // `total` bytes are to be unpacked; `path` is the file that is being written, usually none yet.
    virtual void OnTotal(const std::wstring& path, std::uint64_t total) = 0;

    // Bytes read and bytes unpacked so far; 0 where 7-Zip does not know.
    virtual void OnRatio(std::uint64_t in, std::uint64_t out) = 0;

    // The file at `path` is complete.
    virtual void OnFileDone(const std::wstring& path, std::uint64_t size) = 0;

    // With the archive's path: the extraction has ended, well or not. With the destination folder:
    // an item without a file of its own, such as a folder, is done.
    virtual void OnArchiveDone(const std::wstring& path) = 0;

    // Whether to extract an item; both paths as they will be joined.
    virtual bool ShouldExtract(const std::wstring& directory, const std::wstring& relativePath,
                               bool isDirectory) = 0;

    // The file at `path` is written, with its times and attributes. False: the extraction fails.
    virtual bool OnFileWritten(const std::wstring& path, std::uint64_t size) = 0;

    // A replaced file (first: its path, second: where it was put aside, or empty if there was none)
    // is about to be restored.
    virtual void OnRollback(const std::pair<std::wstring, std::wstring>& replacement) = 0;

protected:
    ~ExtractProgress() = default;
};

}  // namespace SevenZip
