#include "staging/driver_staging.h"

#include <windows.h>

#include <array>
#include <cwchar>

#include "archive/seven_zip_extractor.h"
#include "core/fix_helper.h"
#include "core/library_state.h"
#include "platform/paths.h"
#include "platform/unique_handle.h"

namespace {

using PathBuffer = std::array<wchar_t, MAX_PATH + 1>;

// Appends `text` and returns true when there is room for all of it. Otherwise changes nothing: a
// path that is cut would name another file.
bool Append(PathBuffer& path, const wchar_t* text) {
    const std::size_t length = std::wcslen(path.data());
    const std::size_t added = std::wcslen(text);
    if (length + added >= path.size()) return false;
    std::wmemcpy(path.data() + length, text, added);
    return true;
}

bool Unpack(const PathBuffer& archive, const PathBuffer& folder) {
    SevenZip::SevenZipExtractor extractor;
    (void)extractor.SetArchivePath(archive.data());
    return extractor.ExtractTo(folder.data(), nullptr) == 0;
}

}  // namespace

bool FixHelper::StageDriverPackage() {
    const std::wstring temporaryDirectory = TemporaryDirectory();
    if (temporaryDirectory.empty()) return false;
    PathBuffer folder{};
    if (!Append(folder, temporaryDirectory.c_str()) || !Append(folder, kStagingFolderName))
        return false;
    if (!FileOrFolderExists(folder.data())) (void)::CreateDirectoryW(folder.data(), nullptr);

    PathBuffer archive = folder;
    if (!Append(archive, kStagedArchiveName) || !WriteDriverResource(archive.data())) return false;
    if (!Unpack(archive, folder)) return false;

    stagingDir = folder.data();
    return true;
}

std::wstring TemporaryDirectory() {
    PathBuffer path{};
    const DWORD length = ::GetTempPathW(MAX_PATH, path.data());
    // A length of more than MAX_PATH is the size of the buffer that Windows would need. It has
    // stored no path then.
    return length <= MAX_PATH ? std::wstring(path.data(), length) : std::wstring();
}

bool WriteDriverResource(const std::wstring& path) {
    const UniqueFile file(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_WRITE, nullptr,
                                        CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return false;

    // Without the resource, the size is 0 and the file stays empty.
    const HRSRC resource =
        ::FindResourceW(g_libraryModule, MAKEINTRESOURCEW(kDriverResource), kDriverResourceType);
    const void* bytes = ::LockResource(::LoadResource(g_libraryModule, resource));
    const DWORD size = ::SizeofResource(g_libraryModule, resource);
    DWORD written = 0;
    (void)::WriteFile(file.Get(), bytes, size, &written, nullptr);
    return true;
}
