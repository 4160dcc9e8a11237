#pragma once

#include "archive/archive_format.h"
#include "archive/com_object.h"
#include "archive/seven_zip_interfaces.h"

namespace SevenZip::intl {

// A new 7-Zip handler for archives of that format, or null when 7-Zip cannot make one.
[[nodiscard]] UniqueCom<IInArchive> CreateArchiveHandler(ArchiveFormat format);

// A handler that was told to open a file, and is closed before it is released.
class OpenedArchive {
public:
    // `maximumStart` is how far into the file the archive may begin; null for any distance.
    OpenedArchive(ArchiveFormat format, IInStream& file, const UInt64* maximumStart,
                  IArchiveOpenCallback& callback);
    OpenedArchive(const OpenedArchive&) = delete;
    OpenedArchive& operator=(const OpenedArchive&) = delete;
    ~OpenedArchive() { Close(); }

    // S_OK, or why there is nothing to work with: the handler's own answer (S_FALSE when the file
    // is no archive of the format), or CLASS_E_CLASSNOTAVAILABLE when there is no handler.
    [[nodiscard]] HRESULT Result() const { return result_; }

    // Only for an archive that was opened.
    [[nodiscard]] IInArchive& Handler() const { return *handler_.Get(); }

    // Closes the handler, which then lets go of the file. Only the first call does something.
    void Close();

private:
    UniqueCom<IInArchive> handler_;
    HRESULT result_ = CLASS_E_CLASSNOTAVAILABLE;
    bool closed_ = false;
};

}  // namespace SevenZip::intl
