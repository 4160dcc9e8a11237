#include "mendloftctl/file_versions.h"

#include <array>
#include <cstddef>
#include <vector>

namespace ctl {

std::wstring VersionOfProgram(const std::wstring& path) {
    DWORD unused = 0;
    const DWORD size = ::GetFileVersionInfoSizeW(path.c_str(), &unused);
    std::vector<std::byte> block(size);
    // "\\" names the part of the resource that does not depend on a language.
    void* found = nullptr;
    UINT length = 0;
    if (size == 0 || !::GetFileVersionInfoW(path.c_str(), 0, size, block.data()) ||
        !::VerQueryValueW(block.data(), L"\\", &found, &length) ||
        length < sizeof(VS_FIXEDFILEINFO)) {
        return {};
    }
    const auto& version = *static_cast<const VS_FIXEDFILEINFO*>(found);
    const auto part = [](DWORD number) { return std::to_wstring(number); };
    return part(HIWORD(version.dwFileVersionMS)) + L"." + part(LOWORD(version.dwFileVersionMS)) +
           L"." + part(HIWORD(version.dwFileVersionLS)) + L"." +
           part(LOWORD(version.dwFileVersionLS));
}

std::wstring VersionOfInf(const std::wstring& path) {
    // Read as an initialisation file and not through SetupAPI, so that the version is found even
    // when the INF file has a mistake elsewhere.
    std::array<wchar_t, 128> version{};
    const DWORD length =
        ::GetPrivateProfileStringW(L"Version", L"DriverVer", L"", version.data(),
                                   static_cast<DWORD>(version.size()), path.c_str());
    return std::wstring(version.data(), length);
}

}  // namespace ctl
