#include "mendloftctl/diagnosis.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "finished_program.h"
#include "support/fake_os.h"
#include "support/repair_setting.h"

namespace {

using ctl::Diagnose;
using ctl::Diagnosis;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using Json = nlohmann::ordered_json;

constexpr const wchar_t* kAppleFolder = L"C:\\Program Files\\Common Files\\Apple";
constexpr const wchar_t* kInstalledInf =
    L"C:\\Program Files\\Common Files\\Apple\\Mobile Device Support\\Drivers\\usbaapl64.inf";
constexpr const char* kInf =
    "[Version]\nSignature=\"$Windows NT$\"\nDriverVer=01/02/2003,4.5.6.7\n";

class DiagnosisTest : public testing::Test {
protected:
    DiagnosisTest() {
        os.Version(10, 0);
        os.Is64Bit(true);
    }
    ~DiagnosisTest() override { RemoveTree(kAppleFolder); }

    [[nodiscard]] Diagnosis Look() const { return Diagnose(library / L"libmendloft.dll"); }

    FakeOs os;
    PrivateTemporaryDirectory temp;
    EmptyDriverStore store;
    TemporaryFolder library;
};

TEST_F(DiagnosisTest, ReportsWindowsAsTheLibrarySeesIt) {
    const Diagnosis diagnosis = Look();

    EXPECT_EQ(10U, diagnosis.windows.dwMajorVersion);
    EXPECT_TRUE(diagnosis.is64Bit);
}

TEST_F(DiagnosisTest, LooksForThe32BitStagedInfsOn32BitWindows) {
    os.Is64Bit(false);

    const Diagnosis diagnosis = Look();

    std::vector<std::wstring> staged;
    for (const auto& package : diagnosis.packages) staged.push_back(package.stagedInf.path);
    EXPECT_THAT(staged, UnorderedElementsAre(
                            temp.StagingFolder() + L"\\usb\\x86\\usbaapl.inf",
                            temp.StagingFolder() + L"\\net\\x86\\netaapl.inf",
                            temp.StagingFolder() + L"\\applekis\\x86\\AppleKIS.inf",
                            temp.StagingFolder() + L"\\applersm\\x86\\AppleRSM.inf",
                            temp.StagingFolder() + L"\\appleusbdevice\\x86\\AppleUsb.inf"));
}

TEST_F(DiagnosisTest, ListsTheDriverStoreFoldersOfThisSystem) {
    const std::wstring usb = EmptyDriverStore::Folder(L"usbaapl64.inf_amd64_c0e4d8c2aef471b7");
    WriteFileContent(usb + L"\\usbaapl64.sys", "four");

    const Diagnosis diagnosis = Look();

    ASSERT_THAT(diagnosis.storeFolders, SizeIs(2));
    EXPECT_EQ(usb, diagnosis.storeFolders[0].path);
    EXPECT_TRUE(diagnosis.storeFolders[0].exists);
    ASSERT_THAT(diagnosis.storeFolders[0].entries, SizeIs(1));
    EXPECT_EQ(L"usbaapl64.sys", diagnosis.storeFolders[0].entries[0].path);
    EXPECT_EQ(4U, diagnosis.storeFolders[0].entries[0].size);
    EXPECT_FALSE(diagnosis.storeFolders[1].exists);
}

TEST_F(DiagnosisTest, ListsTheWholeStagedTree) {
    WriteFileContent(temp.StagingFolder() + L"\\usb\\x64\\usbaapl64.inf");
    ::SetFileAttributesW((temp.StagingFolder() + L"\\usb\\x64\\usbaapl64.inf").c_str(),
                         FILE_ATTRIBUTE_READONLY);

    const Diagnosis diagnosis = Look();

    ASSERT_THAT(diagnosis.stagingFolder.entries, SizeIs(3));
    EXPECT_TRUE(diagnosis.stagingFolder.entries[0].isFolder);
    EXPECT_EQ(L"usb\\x64\\usbaapl64.inf", diagnosis.stagingFolder.entries[2].path);
    EXPECT_TRUE(diagnosis.stagingFolder.entries[2].isReadOnly);
}

TEST_F(DiagnosisTest, ReportsWhatIsMissing) {
    const Diagnosis diagnosis = Look();

    EXPECT_FALSE(diagnosis.library.exists);
    EXPECT_FALSE(diagnosis.installerTool.exists);
    EXPECT_FALSE(diagnosis.stagingFolder.exists);
}

TEST_F(DiagnosisTest, FindsTheInstallerToolBesideTheLibrary) {
    WriteFileContent(library / L"files\\inf\\InfInstallerx64.exe");

    EXPECT_TRUE(Look().installerTool.exists);
}

TEST_F(DiagnosisTest, ReadsTheVersionOfTheLibrary) {
    EXPECT_EQ(L"1.0.0.0", Diagnose(ProgramFolder() + L"\\libmendloft.dll").library.version);
}

TEST_F(DiagnosisTest, ReadsTheVersionOfAnInstalledInf) {
    WriteFileContent(kInstalledInf, kInf);

    // Of the library's path only the length of the drive prefix counts. The prefix itself comes
    // from the path of the Common Files folder.
    const Diagnosis diagnosis = Look();

    EXPECT_EQ(kInstalledInf, diagnosis.packages[0].installedInf.path);
    EXPECT_TRUE(diagnosis.packages[0].installedInf.exists);
    EXPECT_EQ(L"01/02/2003,4.5.6.7", diagnosis.packages[0].installedInf.version);
}

TEST_F(DiagnosisTest, LooksForNoInstalledInfOfTheNewerPackages) {
    EXPECT_EQ(L"", Look().packages[2].installedInf.path);
}

TEST_F(DiagnosisTest, FindsPublishedInfsByTheirOriginalName) {
    const std::wstring published = L"C:\\windows\\inf\\AppleRSM.inf";
    WriteFileContent(published, kInf);

    const Diagnosis diagnosis = Look();
    std::filesystem::remove(published);

    ASSERT_THAT(diagnosis.packages[3].publishedInfs, SizeIs(1));
    EXPECT_EQ(L"01/02/2003,4.5.6.7", diagnosis.packages[3].publishedInfs[0].version);
    EXPECT_THAT(diagnosis.packages[1].publishedInfs, IsEmpty());
}

// ---- the report

Diagnosis Example() {
    Diagnosis diagnosis;
    diagnosis.windows.dwMajorVersion = 10;
    diagnosis.windows.dwBuildNumber = 19045;
    diagnosis.is64Bit = true;
    diagnosis.library = {L"C:\\a.dll", true, L"1.0.0.0"};
    diagnosis.installerTool = {L"C:\\tool.exe", false, L""};
    diagnosis.storeFolders = {{L"C:\\store", false, {}}};
    diagnosis.stagingFolder = {L"C:\\staging",
                               true,
                               {{.path = L"usb", .isFolder = true},
                                {.path = L"usb\\a",
                                 .size = 5'000'000'000,
                                 .isReadOnly = true,
                                 .modified = {0xC89DC000, 0x01C07385}}}};
    diagnosis.packages = {{"usb",
                           {L"C:\\i.inf", false, L""},
                           {L"C:\\s.inf", true, L"v"},
                           {{L"C:\\p.inf", true, L""}}},
                          {"kis", {}, {L"C:\\k.inf", false, L""}, {}}};
    diagnosis.deviceService = "running";
    return diagnosis;
}

TEST(DiagnosisReport, IsAvailableAsJson) {
    const Json expected = Json::parse(R"({
        "command": "diagnose",
        "windows": {"version": "10.0.19045", "is_64_bit": true},
        "elevated": false,
        "library": {"path": "C:\\a.dll", "exists": true, "version": "1.0.0.0"},
        "installer_tool": {"path": "C:\\tool.exe", "exists": false},
        "device_service": {"name": "Apple Mobile Device Service", "state": "running"},
        "driver_store": [{"path": "C:\\store", "exists": false, "entries": []}],
        "staging_folder": {"path": "C:\\staging", "exists": true, "entries": [
            {"path": "usb", "folder": true},
            {"path": "usb\\a", "folder": false, "size": 5000000000,
             "modified": "2001-01-01T00:00:00Z", "read_only": true}]},
        "packages": [
            {"package": "usb",
             "installed_inf": {"path": "C:\\i.inf", "exists": false},
             "staged_inf": {"path": "C:\\s.inf", "exists": true, "version": "v"},
             "published_infs": [{"path": "C:\\p.inf", "exists": true}]},
            {"package": "kis",
             "installed_inf": null,
             "staged_inf": {"path": "C:\\k.inf", "exists": false},
             "published_infs": []}]
    })");

    EXPECT_EQ(expected, ToJson(Example()));
}

TEST(DiagnosisReport, IsAvailableAsText) {
    EXPECT_EQ(
        "Windows           10.0.19045, 64-bit\n"
        "Administrator     no\n"
        "Library           C:\\a.dll (1.0.0.0)\n"
        "Installer tool    C:\\tool.exe (missing)\n"
        "Device service    running\n"
        "Driver store      C:\\store (missing)\n"
        "Staging folder    C:\\staging\n"
        "    usb\\\n"
        "    usb\\a  5000000000 bytes, 2001-01-01T00:00:00Z, read-only\n"
        "Package usb\n"
        "    installed     C:\\i.inf (missing)\n"
        "    staged        C:\\s.inf (v)\n"
        "    published     C:\\p.inf\n"
        "Package kis\n"
        "    staged        C:\\k.inf (missing)\n"
        "    published     no\n",
        ToText(Example()));
}

}  // namespace
