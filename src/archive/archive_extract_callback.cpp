#include "archive/archive_extract_callback.h"

#include <windows.h>
#include <comdef.h>

#include <new>

#include "archive/file_system.h"
#include "archive/item_properties.h"
#include "archive/stream_wrappers.h"
#include "platform/unique_handle.h"

namespace SevenZip::intl {

namespace {

// The file name for an item that is stored without one, such as the only item of an Lzma file.
constexpr const wchar_t* kUnnamedItem = L"[Content]";

// Two results of GetStream are plain system codes, not HRESULTs. ExtractTo passes them on. Its
// caller can tell them from a refusal of Windows with the same code, for which LastErrorAsResult
// gives 0x80070050 or 0x8007065F.
constexpr HRESULT kFileExists = ERROR_FILE_EXISTS;
constexpr HRESULT kNoParentFolder = 0x65F;

HRESULT LastErrorAsResult() {
    const DWORD error = ::GetLastError();
    return HRESULT_FROM_WIN32(error);
}

UInt64 ValueOrZero(const UInt64* value) {
    return value == nullptr ? 0 : *value;
}

}  // namespace

ArchiveExtractCallback::ArchiveExtractCallback(IInArchive& archive, const std::wstring& destination,
                                               OverwriteMode mode, ExtractProgress* listener)
    : archiveHandler(Share(archive)),
      directory(destination),
      overwriteMode(mode),
      progress(listener) {
    if (!directory.ends_with(L'\\') && !directory.ends_with(L'/')) directory += L'\\';
}

STDMETHODIMP ArchiveExtractCallback::QueryInterface(REFIID iid, void** object) {
    return Find({{&IID_IArchiveExtractCallback, static_cast<IArchiveExtractCallback*>(this)},
                 {&IID_ICryptoGetTextPassword, static_cast<ICryptoGetTextPassword*>(this)},
                 {&IID_ICompressProgressInfo, static_cast<ICompressProgressInfo*>(this)}},
                iid, object);
}

STDMETHODIMP ArchiveExtractCallback::SetTotal(UInt64 total) {
    totalSize = total;
    if (progress != nullptr) progress->OnTotal(absolutePath, total);
    return S_OK;
}

STDMETHODIMP ArchiveExtractCallback::SetCompleted(const UInt64*) {
    return S_OK;
}

STDMETHODIMP ArchiveExtractCallback::GetStream(UInt32 index, ISequentialOutStream** outStream,
                                               Int32 askMode) {
    *outStream = nullptr;
    // Otherwise SetOperationResult would report an item without a stream under the path of the item
    // before it.
    absolutePath.clear();
    ReadPath(index);
    if (askMode != NArchive::NExtract::NAskMode::kExtract) return S_OK;
    ReadMetadata(index);

    if (!IsWanted()) return S_OK;
    std::wstring target = CombinePath(directory, relativePath);
    if (isDirectory) {
        // When this fails, the first file in the folder fails as well, with kNoParentFolder.
        (void)CreateDirectories(target);
        return S_OK;
    }
    // With an empty name, the target would be the destination folder.
    if (relativePath.empty()) return S_OK;
    return OpenTarget(std::move(target), outStream);
}

STDMETHODIMP ArchiveExtractCallback::PrepareOperation(Int32) {
    return S_OK;
}

// Whether the item is damaged matters only in mode kRollBack. In the other modes a damaged file
// keeps what was written of it, and it is stamped and reported like an undamaged one.
STDMETHODIMP ArchiveExtractCallback::SetOperationResult(Int32 operationResult) {
    if (overwriteMode == OverwriteMode::kRollBack &&
        operationResult != NArchive::NExtract::NOperationResult::kOK) {
        return RollBack();
    }
    if (absolutePath.empty()) {
        if (progress != nullptr) progress->OnArchiveDone(directory);
        return S_OK;
    }
    StampTimes();
    if (hasAttributes) (void)::SetFileAttributesW(absolutePath.c_str(), attributes);
    if (progress != nullptr) {
        if (!progress->OnFileWritten(absolutePath, size)) return E_FAIL;
        progress->OnFileDone(absolutePath, size);
    }
    return S_OK;
}

STDMETHODIMP ArchiveExtractCallback::CryptoGetTextPassword(BSTR*) {
    return E_ABORT;
}

STDMETHODIMP ArchiveExtractCallback::SetRatioInfo(const UInt64* inSize, const UInt64* outSize) {
    if (progress != nullptr) progress->OnRatio(ValueOrZero(inSize), ValueOrZero(outSize));
    return S_OK;
}

// Reads a property into `value`. Returns false, with `value` cleared, when the archive does not
// store it. Throws a _com_error when the handler cannot read it or when it has another type.
template <typename Value>
bool ArchiveExtractCallback::ReadProperty(UInt32 index, PROPID id, Value& value) {
    value = Value();
    const ItemProperty property(*archiveHandler.Get(), index, id);
    if (FAILED(property.Result())) throw _com_error(property.Result());
    if (property.IsEmpty()) return false;
    if (!property.Get(value)) throw _com_error(E_FAIL);
    return true;
}

void ArchiveExtractCallback::ReadPath(UInt32 index) {
    try {
        if (!ReadProperty(index, kpidPath, relativePath)) relativePath = kUnnamedItem;
    } catch (const std::bad_alloc&) {
        throw _com_error(E_OUTOFMEMORY);
    }
}

void ArchiveExtractCallback::ReadMetadata(UInt32 index) {
    hasAttributes = ReadProperty(index, kpidAttrib, attributes);
    (void)ReadProperty(index, kpidIsDir, isDirectory);  // false when it is not stored
    hasModified = ReadProperty(index, kpidMTime, modified);
    hasCreated = ReadProperty(index, kpidCTime, created);
    hasAccessed = ReadProperty(index, kpidATime, accessed);
    hasSize = ReadProperty(index, kpidSize, size);
}

bool ArchiveExtractCallback::IsWanted() {
    return progress == nullptr || progress->ShouldExtract(directory, relativePath, isDirectory);
}

HRESULT ArchiveExtractCallback::OpenTarget(std::wstring target, ISequentialOutStream** outStream) {
    if (const std::optional<HRESULT> end = MakeRoom(target)) return *end;
    if (!CreateDirectories(ParentDirectory(target))) return kNoParentFolder;

    const UniqueCom<IStream> file = CreateFileForWrite(target);
    if (!file) return LastErrorAsResult();
    *outStream = MakeCom<OutStreamWrapper>(*file.Get()).Detach();
    absolutePath = std::move(target);
    return S_OK;
}

// Applies the overwrite mode to a file at `target`, and may change `target` to another path.
// Returns nothing when a file can be written there, and otherwise the result with which GetStream
// ends.
std::optional<HRESULT> ArchiveExtractCallback::MakeRoom(std::wstring& target) {
    if (overwriteMode == OverwriteMode::kRollBack && !PathExists(target)) {
        pendingReplacements.emplace_back(target, std::wstring());
    }
    while (PathExists(target)) {
        switch (overwriteMode) {
            case OverwriteMode::kDelete:
                if (!DeletePath(target)) return LastErrorAsResult();
                return std::nullopt;
            case OverwriteMode::kSkip:
                return S_OK;
            case OverwriteMode::kRenameNew:
                target = MakeUniquePath(target);
                break;
            case OverwriteMode::kRenameOld:
                if (!RenamePath(target, MakeUniquePath(target))) return LastErrorAsResult();
                break;
            case OverwriteMode::kRollBack: {
                const auto& [path, backup] =
                    pendingReplacements.emplace_back(target, MakeUniquePath(target));
                if (!MovePath(path, backup)) return LastErrorAsResult();
                return std::nullopt;
            }
            default:
                return kFileExists;
        }
    }
    return std::nullopt;
}

HRESULT ArchiveExtractCallback::RollBack() {
    for (const auto& replacement : pendingReplacements) {
        const auto& [path, backup] = replacement;
        if (progress != nullptr) progress->OnRollback(replacement);
        if (backup.empty()) {
            (void)DeletePath(path);
        } else {
            (void)RenamePath(backup, path);
        }
    }
    return E_FAIL;
}

void ArchiveExtractCallback::StampTimes() {
    if (!hasCreated && !hasAccessed && !hasModified) return;
    const UniqueFile file(::CreateFileW(absolutePath.c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return;
    (void)::SetFileTime(file.Get(), hasCreated ? &created : nullptr,
                        hasAccessed ? &accessed : nullptr, hasModified ? &modified : nullptr);
}

}  // namespace SevenZip::intl
