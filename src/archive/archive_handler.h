#pragma once

#include "archive/archive_format.h"
#include "archive/com_object.h"
#include "archive/seven_zip_interfaces.h"

namespace SevenZip::intl {

// A new 7-Zip handler for archives of that format. Null when 7-Zip cannot create one.
[[nodiscard]] UniqueCom<IInArchive> CreateArchiveHandler(ArchiveFormat format);

// A handler that has tried to open a file. It is closed before it is released, also after a
// failure.
class OpenedArchive {
public:
    // `maximumStart` is the largest offset at which the archive may begin. Null allows any offset.
    OpenedArchive(ArchiveFormat format, IInStream& file, const UInt64* maximumStart,
                  IArchiveOpenCallback& callback);
    OpenedArchive(const OpenedArchive&) = delete;
    OpenedArchive& operator=(const OpenedArchive&) = delete;
    ~OpenedArchive() { Close(); }

    // S_OK when the archive is open. Otherwise the handler's result (S_FALSE when the file is not
    // an archive of the format), or CLASS_E_CLASSNOTAVAILABLE when there is no handler.
    [[nodiscard]] HRESULT Result() const { return result_; }

    // Only when Result() is S_OK.
    [[nodiscard]] IInArchive& Handler() const { return *handler_.Get(); }

    // Closes the handler, which then releases the file. Calls after the first do nothing.
    void Close();

private:
    UniqueCom<IInArchive> handler_;
    HRESULT result_ = CLASS_E_CLASSNOTAVAILABLE;
    bool closed_ = false;
};

}  // namespace SevenZip::intl
