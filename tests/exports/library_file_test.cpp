#include <windows.h>
#include <winver.h>

#include <gmock/gmock.h>

#include "exports/pe_image.h"
#include "support/loaded_library.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::Not;
using testing::UnorderedElementsAre;

class LibraryFile : public testing::Test {
protected:
    LoadedLibrary library;
    PeImage image{library.Module()};
};

TEST_F(LibraryFile, ExportsExactlySevenUndecoratedNames) {
    EXPECT_THAT(
        image.ExportedNames(),
        ElementsAre("AMDPortTest", "MendloftFolder", "SetUpAppleUSBDeviceDriver", "SetUpKisDriver",
                    "SetUpNetDriver", "SetUpRSMDriver", "SetUpUSBDriver"));
    EXPECT_EQ(7u, image.ExportCount());
    EXPECT_EQ("libmendloft.dll", image.ExportedLibraryName());
}

TEST_F(LibraryFile, ExportsNoData) {
    EXPECT_TRUE(image.ExportsOnlyCode());
}

TEST_F(LibraryFile, IsARelocatable32BitLibraryWithNonExecutableData) {
    const IMAGE_NT_HEADERS32& headers = image.Headers();
    const WORD flags = headers.OptionalHeader.DllCharacteristics;
    const auto& relocations = headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC];

    EXPECT_EQ(IMAGE_FILE_MACHINE_I386, headers.FileHeader.Machine);
    EXPECT_NE(0, headers.FileHeader.Characteristics & IMAGE_FILE_DLL);
    EXPECT_NE(0, flags & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE);
    EXPECT_NE(0, flags & IMAGE_DLLCHARACTERISTICS_NX_COMPAT);
    EXPECT_NE(0u, relocations.Size);
    EXPECT_EQ(IMAGE_SUBSYSTEM_WINDOWS_GUI, headers.OptionalHeader.Subsystem);
}

TEST_F(LibraryFile, ImportsOnlyFromWindows) {
    EXPECT_THAT(image.ImportedModules(),
                UnorderedElementsAre("ADVAPI32.DLL", "KERNEL32.DLL", "MSVCRT.DLL", "OLE32.DLL",
                                     "OLEAUT32.DLL", "SETUPAPI.DLL", "SHELL32.DLL", "SHLWAPI.DLL",
                                     "USER32.DLL", "WSOCK32.DLL"));
}

TEST_F(LibraryFile, ImportsSocketsFromWsock32) {
    EXPECT_THAT(image.ImportedFrom("WSOCK32.DLL"),
                IsSupersetOf({"WSAStartup", "socket", "connect", "closesocket", "recv"}));
}

TEST_F(LibraryFile, ImportsTheConfigurationManagerFromSetupApi) {
    EXPECT_THAT(image.ImportedFrom("SETUPAPI.DLL"),
                UnorderedElementsAre("CM_Locate_DevNodeW", "CM_Reenumerate_DevNode"));
}

TEST_F(LibraryFile, NeverCleansUpWindowsSockets) {
    EXPECT_THAT(image.ImportedFrom("WSOCK32.DLL"), Not(Contains("WSACleanup")));
}

TEST_F(LibraryFile, LooksUpNativeSystemFunctionsAtRunTime) {
    EXPECT_EQ(0u, image.ImportedModules().count("NTDLL.DLL"));
    EXPECT_THAT(image.ImportedFrom("KERNEL32.DLL"), Not(Contains("GetNativeSystemInfo")));
}

struct Resource {
    std::wstring name;
    WORD language;
    bool operator==(const Resource&) const = default;
};

BOOL WINAPI NoteLanguage(HMODULE, const wchar_t*, const wchar_t* name, WORD language,
                         LONG_PTR list) {
    const std::wstring text = IS_INTRESOURCE(name)
                                  ? L"#" + std::to_wstring(reinterpret_cast<UINT_PTR>(name))
                                  : std::wstring(name);
    reinterpret_cast<std::vector<Resource>*>(list)->push_back({text, language});
    return TRUE;
}

BOOL WINAPI NoteName(HMODULE module, const wchar_t* type, wchar_t* name, LONG_PTR list) {
    return ::EnumResourceLanguagesW(module, type, name, NoteLanguage, list);
}

// The names and languages of the resources of one type.
std::vector<Resource> ResourcesOfType(HMODULE module, const wchar_t* type) {
    std::vector<Resource> found;
    ::EnumResourceNamesW(module, type, NoteName, reinterpret_cast<LONG_PTR>(&found));
    return found;
}

TEST_F(LibraryFile, CarriesOneDriverArchive) {
    EXPECT_THAT(ResourcesOfType(library.Module(), L"DRIVER"), ElementsAre(Resource{L"#102", 2052}));
}

TEST_F(LibraryFile, CarriesA7zArchive) {
    const HRSRC resource = ::FindResourceW(library.Module(), MAKEINTRESOURCEW(102), L"DRIVER");
    const HGLOBAL loaded = ::LoadResource(library.Module(), resource);

    EXPECT_EQ(std::string("7z\xBC\xAF\x27\x1C"),
              std::string(static_cast<const char*>(::LockResource(loaded)), 6));
}

TEST_F(LibraryFile, HasAVersionResource) {
    const std::wstring path = LoadedLibrary::BuiltPath();
    const DWORD size = ::GetFileVersionInfoSizeW(path.c_str(), nullptr);
    std::vector<char> version(size);
    ASSERT_TRUE(::GetFileVersionInfoW(path.c_str(), 0, size, version.data()));

    wchar_t* name = nullptr;
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(::VerQueryValueW(version.data(), L"\\StringFileInfo\\040904B0\\OriginalFilename",
                                 reinterpret_cast<void**>(&name), &length));
    ASSERT_TRUE(::VerQueryValueW(version.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));

    EXPECT_STREQ(L"libmendloft.dll", name);
    EXPECT_EQ(DWORD{VFT_DLL}, fixed->dwFileType);
    EXPECT_NE(0u, fixed->dwFileVersionMS);
}

TEST(LibraryLoad, CanBeRepeatedWithoutLeakingHandles) {
    (void)LoadedLibrary();
    DWORD before = 0, after = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &before);

    for (int i = 0; i < 20; ++i) {
        const LoadedLibrary again;
    }

    ::GetProcessHandleCount(::GetCurrentProcess(), &after);
    EXPECT_EQ(before, after);
}

}  // namespace
