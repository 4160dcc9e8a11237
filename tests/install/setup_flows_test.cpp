#include <windows.h>
#include <shlwapi.h>

#include <gmock/gmock.h>

#include <cwchar>

#include "core/fix_helper.h"
#include "support/captured_output.h"
#include "support/fake_installer.h"
#include "support/fake_os.h"
#include "support/repair_setting.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// Where Apple's own software installs its drivers. Tests put files there; the fixture removes them.
constexpr const wchar_t* kAppleFolder = L"C:\\Program Files\\Common Files\\Apple";

// A library in a folder of its own with the installer tool beside it; 64-bit Windows 10 unless a
// test says otherwise.
class SetupFlowTest : public testing::Test {
protected:
    SetupFlowTest() {
        os.Version(10, 0);
        os.Is64Bit(true);
        WriteFileContent(Tool64());
        WriteFileContent(Tool32());
    }
    ~SetupFlowTest() override { RemoveTree(kAppleFolder); }

    [[nodiscard]] std::wstring Tool64() const {
        return library / L"files\\inf\\InfInstallerx64.exe";
    }
    [[nodiscard]] std::wstring Tool32() const {
        return library / L"files\\inf\\InfInstallerx86.exe";
    }
    [[nodiscard]] std::wstring Staged(std::wstring_view name) const {
        return temp.StagingFolder() + L"\\" + std::wstring(name);
    }
    [[nodiscard]] bool HasStaged() const { return Exists(temp.StagingFolder()); }

    FreshLibraryState state;
    PrivateTemporaryDirectory temp;
    EmptyDriverStore store;
    TemporaryFolder library;
    FakeOs os;
    FakeInstaller installer;
    CapturedDebugOutput debug;
    FixHelper helper;
    FakeApi<"GetModuleFileNameW", decltype(::GetModuleFileNameW)> moduleFile{
        [this](HMODULE, wchar_t* path, DWORD) -> DWORD {
            std::wcscpy(path, (library / L"libmendloft.dll").c_str());
            return 1;
        }};
};

// --- All five flows ------------------------------------------------------------------------------

struct FlowRow {
    const char* name;
    MendloftSetupResult (FixHelper::*run)(std::int32_t);
    const wchar_t* inf64;    // in the staging folder
    const char* infMissing;  // the message, without the path and the line end
    const char* toolMissing;
    bool usesConsole;
    const char* announcement;
};

class EverySetupFlow : public SetupFlowTest, public testing::WithParamInterface<FlowRow> {
protected:
    std::int32_t Run(std::int32_t repair = 1) { return (helper.*GetParam().run)(repair); }
    [[nodiscard]] std::wstring Inf() const { return Staged(GetParam().inf64); }

    static std::string Narrow(const std::wstring& text) { return {text.begin(), text.end()}; }

    // The messages of the flow on either channel, without those of the driver copy.
    std::string Messages() {
        std::string all = GetParam().usesConsole ? console.Text() : std::string();
        for (const std::wstring& message : debug.messages) {
            if (!message.starts_with(L"CopyDrivers")) all += Narrow(message);
        }
        return all;
    }
    [[nodiscard]] std::string Announced() const {
        return GetParam().announcement == nullptr ? ""
                                                  : GetParam().announcement + Narrow(Inf()) + "\n";
    }

    CapturedStandardOutput console;
};

TEST_P(EverySetupFlow, InstallsTheStagedInf) {
    EXPECT_EQ(0, Run(1));

    EXPECT_THAT(installer.commandLines, ElementsAre(Tool64() + L" -i \"" + Inf() + L"\""));
    EXPECT_EQ(Announced(), Messages());
}

TEST_P(EverySetupFlow, ReportsAMissingTool) {
    std::filesystem::remove(Tool64());

    EXPECT_EQ(-2, Run());

    EXPECT_THAT(installer.calls, IsEmpty());
    EXPECT_EQ(Announced() + GetParam().toolMissing + Narrow(Tool64()) + "\n", Messages());
}

TEST_P(EverySetupFlow, ReportsAMissingInfBeforeAMissingTool) {
    std::filesystem::remove(Tool64());
    const FakeApi<"PathFileExistsW", decltype(::PathFileExistsW)> nothingExists(
        [](const wchar_t*) { return FALSE; });

    EXPECT_EQ(-1, Run());

    EXPECT_EQ(Announced() + GetParam().infMissing + Narrow(Inf()) + "\n", Messages());
}

TEST_P(EverySetupFlow, ReportsAToolThatCannotBeStarted) {
    installer.startError = ERROR_BAD_EXE_FORMAT;

    EXPECT_EQ(-3, Run());

    EXPECT_EQ(Announced() + "CreateProcess failed (193).\n", Messages());
}

TEST_P(EverySetupFlow, RescansDevicesAfterTheToolHasEnded) {
    Run();

    EXPECT_THAT(installer.calls, ElementsAre("start", "wait", "locate", "reenumerate"));
}

TEST_P(EverySetupFlow, WritesToItsOwnChannelOnly) {
    std::filesystem::remove(Tool64());

    Run();

    if (GetParam().usesConsole) {
        EXPECT_THAT(debug.messages, IsEmpty());
        EXPECT_NE("", console.Text());
    } else {
        EXPECT_THAT(debug.messages, Not(IsEmpty()));
        EXPECT_EQ("", console.Text());
    }
}

INSTANTIATE_TEST_SUITE_P(
    , EverySetupFlow,
    testing::Values(
        FlowRow{"Usb", &FixHelper::SetUpUsbDriver, L"usb\\x64\\usbaapl64.inf",
                "SetUpUsbDriver inf not exsit: ", "SetUpUsbDriver InfInstaller not exsit: ", false,
                nullptr},
        FlowRow{"Net", &FixHelper::SetUpNetDriver, L"net\\x64\\netaapl64.inf",
                "SetUpNetDriver inf not exsit: ", "SetUpNetDriver InfInstaller not exsit: ", false,
                nullptr},
        FlowRow{"Kis", &FixHelper::SetUpKisDriver, L"applekis\\x64\\AppleKIS.inf",
                "SetUpKisDriver inf not exist: ", "SetUpKisDriver InfInstaller not exist: ", true,
                "SetUpKisDriver inf path: "},
        FlowRow{"Rsm", &FixHelper::SetUpRsmDriver, L"applersm\\x64\\AppleRSM.inf",
                "SetUpRsmDriver inf not exist: ", "SetUpRsmDriver InfInstaller not exist: ", true,
                "SetUpRsmDriver inf path: "},
        FlowRow{"AppleUsbDevice", &FixHelper::SetUpAppleUsbDeviceDriver,
                L"appleusbdevice\\x64\\AppleUsb.inf", "SetUpAppleUsbDeviceDriver inf not exist: ",
                "SetUpAppleUsbDeviceDriver InfInstaller not exist: ", true,
                "SetUpAppleUsbDeviceDriver inf path: "}),
    [](const auto& row) { return row.param.name; });

// --- USB and network packages: the installed INF first, then the staged one ----------------------

struct InstalledRow {
    const char* name;
    MendloftSetupResult (FixHelper::*run)(std::int32_t);
    bool is64Bit;
    const wchar_t* inf;
};

class FlowWithInstalledInf : public SetupFlowTest,
                             public testing::WithParamInterface<InstalledRow> {};

TEST_P(FlowWithInstalledInf, UsesItAndDoesNotStage) {
    os.Is64Bit(GetParam().is64Bit);
    WriteFileContent(GetParam().inf);

    EXPECT_EQ(0, (helper.*GetParam().run)(1));

    const std::wstring tool = GetParam().is64Bit ? Tool64() : Tool32();
    EXPECT_THAT(installer.commandLines, ElementsAre(tool + L" -i \"" + GetParam().inf + L"\""));
    EXPECT_FALSE(HasStaged());
    EXPECT_THAT(debug.messages, IsEmpty());
}

TEST_P(FlowWithInstalledInf, UsesItForARemoval) {
    os.Is64Bit(GetParam().is64Bit);
    WriteFileContent(GetParam().inf);

    EXPECT_EQ(0, (helper.*GetParam().run)(0));

    const std::wstring tool = GetParam().is64Bit ? Tool64() : Tool32();
    EXPECT_THAT(installer.commandLines, ElementsAre(tool + L" -d \"" + GetParam().inf + L"\""));
    EXPECT_FALSE(HasStaged());
}

INSTANTIATE_TEST_SUITE_P(
    , FlowWithInstalledInf,
    testing::Values(
        InstalledRow{
            "Usb64", &FixHelper::SetUpUsbDriver, true,
            L"C:\\Program Files\\Common Files\\Apple\\Mobile Device Support\\Drivers\\usbaapl64.inf"},
        InstalledRow{
            "Usb32", &FixHelper::SetUpUsbDriver, false,
            L"C:\\Program Files\\Common Files\\Apple\\Mobile Device Support\\Drivers\\usbaapl.inf"},
        InstalledRow{
            "Net64", &FixHelper::SetUpNetDriver, true,
            L"C:\\Program Files\\Common Files\\Apple\\Mobile Device Support\\NetDrivers\\netaapl64.inf"},
        InstalledRow{
            "Net32", &FixHelper::SetUpNetDriver, false,
            L"C:\\Program Files\\Common Files\\Apple\\Mobile Device Support\\NetDrivers\\netaapl.inf"}),
    [](const auto& row) { return row.param.name; });

TEST_F(SetupFlowTest, LooksForAnInstalledInfOnTheDriveOfTheCommonFilesFolder) {
    std::vector<std::wstring> looked;
    FakeApi<"PathFileExistsW", decltype(::PathFileExistsW)>* real = nullptr;
    FakeApi<"PathFileExistsW", decltype(::PathFileExistsW)> exists([&](const wchar_t* path) {
        looked.emplace_back(path);
        return real->Real(path);
    });
    real = &exists;
    const FakeApi<"SHGetSpecialFolderPathW", BOOL WINAPI(HWND, LPWSTR, int, BOOL)> common(
        [](HWND, wchar_t* path, int, BOOL) {
            std::wcscpy(path, L"Q:\\Program Files (x86)\\Common Files");
            return TRUE;
        });

    helper.SetUpUsbDriver(1);

    EXPECT_EQ(
        L"Q:\\Program Files\\Common Files\\Apple\\Mobile Device Support\\Drivers\\usbaapl64.inf",
        looked.front());
}

TEST_F(SetupFlowTest, RebuildsTheDriverStoreFoldersBeforeItUsesAStagedUsbInf) {
    EXPECT_EQ(0, helper.SetUpUsbDriver(1));

    EXPECT_TRUE(Exists(store.Folder(L"usbaapl64.inf_amd64_c0e4d8c2aef471b7\\usbaapl64.inf")));
}

TEST_F(SetupFlowTest, RemovesTheDriverStoreFoldersBeforeItUsesAStagedUsbInf) {
    WriteFileContent(store.Folder(L"usbaapl64.inf_amd64_c0e4d8c2aef471b7\\a"));

    EXPECT_EQ(0, helper.SetUpUsbDriver(0));

    EXPECT_THAT(store.Content(), IsEmpty());
    EXPECT_THAT(installer.commandLines,
                ElementsAre(Tool64() + L" -d \"" + Staged(L"usb\\x64\\usbaapl64.inf") + L"\""));
}

TEST_F(SetupFlowTest, UsesTheStaged32BitUsbInfOn32BitWindows) {
    os.Is64Bit(false);

    EXPECT_EQ(0, helper.SetUpUsbDriver(0));

    EXPECT_THAT(installer.commandLines,
                ElementsAre(Tool32() + L" -d \"" + Staged(L"usb\\x86\\usbaapl.inf") + L"\""));
}

TEST_F(SetupFlowTest, RemembersTheFallbackOfTheUsbPackage) {
    helper.SetUpUsbDriver(0);

    EXPECT_EQ(Staged(L"usb\\x64\\usbaapl64.inf"), StagedUsbInfPath);
}

TEST_F(SetupFlowTest, FindsNoStagedNetInfForARemoval) {
    EXPECT_EQ(-1, helper.SetUpNetDriver(0));

    EXPECT_THAT(debug.messages, ElementsAre(L"SetUpNetDriver inf not exsit: \n"));
    EXPECT_EQ(L"", StagedNetInfPath);
    EXPECT_TRUE(HasStaged());
}

TEST_F(SetupFlowTest, RemovesTheNetPackageWithTheInfThatAnInstallationRemembered) {
    ASSERT_EQ(0, helper.SetUpNetDriver(1));
    FixHelper second;

    EXPECT_EQ(0, second.SetUpNetDriver(0));

    EXPECT_EQ(Tool64() + L" -d \"" + Staged(L"net\\x64\\netaapl64.inf") + L"\"",
              installer.commandLines.back());
}

TEST_F(SetupFlowTest, ReusesTheRememberedUsbInfAndDoesNotStageAgain) {
    ASSERT_EQ(0, helper.SetUpUsbDriver(1));
    std::filesystem::remove(temp.ArchiveFile());
    FixHelper second;

    EXPECT_EQ(0, second.SetUpUsbDriver(1));

    EXPECT_FALSE(Exists(temp.ArchiveFile()));
    EXPECT_EQ(L"", second.stagingDir);
}

TEST_F(SetupFlowTest, ReportsAMissingInfWhenTheRememberedFileIsGone) {
    StagedUsbInfPath = L"C:\\gone\\usbaapl64.inf";

    EXPECT_EQ(-1, helper.SetUpUsbDriver(1));

    EXPECT_THAT(debug.messages,
                ElementsAre(L"SetUpUsbDriver inf not exsit: C:\\gone\\usbaapl64.inf\n"));
    EXPECT_FALSE(HasStaged());
}

TEST_F(SetupFlowTest, PrefersAnInstalledInfToARememberedOne) {
    StagedUsbInfPath = Tool64();  // any file
    const std::wstring installed =
        L"C:\\Program Files\\Common Files\\Apple\\Mobile Device Support\\Drivers\\usbaapl64.inf";
    WriteFileContent(installed);

    EXPECT_EQ(0, helper.SetUpUsbDriver(1));

    EXPECT_THAT(installer.commandLines, ElementsAre(Tool64() + L" -i \"" + installed + L"\""));
}

TEST_F(SetupFlowTest, RemembersTheUsbPathEvenWithoutAStagingFolder) {
    os.Version(5, 1);

    EXPECT_EQ(-1, helper.SetUpUsbDriver(1));

    EXPECT_THAT(debug.messages,
                ElementsAre(L"SetUpUsbDriver inf not exsit: \\usb\\x64\\usbaapl64.inf\n"));
    EXPECT_EQ(L"\\usb\\x64\\usbaapl64.inf", StagedUsbInfPath);
}

TEST_F(SetupFlowTest, FindsNoNetInfOnWindowsXp) {
    os.Version(5, 1);

    EXPECT_EQ(-1, helper.SetUpNetDriver(1));

    EXPECT_THAT(debug.messages, ElementsAre(L"SetUpNetDriver inf not exsit: \n"));
}

// --- The newer packages: always from the archive, staged on every call ---------------------------

TEST_F(SetupFlowTest, StagesOnEveryCallForANewerPackageAndTouchesNoDriverStoreFolder) {
    const CapturedStandardOutput console;
    WriteFileContent(store.Folder(L"usbaapl64.inf_amd64_c0e4d8c2aef471b7\\a"));

    helper.SetUpKisDriver(0);
    EXPECT_TRUE(Exists(temp.ArchiveFile()));
    const PrivateTemporaryDirectory another;
    FixHelper second;
    second.SetUpKisDriver(1);

    EXPECT_TRUE(Exists(another.ArchiveFile()));
    EXPECT_EQ(2u, store.Content().size());
    EXPECT_EQ(L"", StagedUsbInfPath);
    EXPECT_EQ(L"", StagedNetInfPath);
}

TEST_F(SetupFlowTest, RemovesANewerPackage) {
    const CapturedStandardOutput console;

    EXPECT_EQ(0, helper.SetUpRsmDriver(0));

    EXPECT_THAT(installer.commandLines,
                ElementsAre(Tool64() + L" -d \"" + Staged(L"applersm\\x64\\AppleRSM.inf") + L"\""));
}

struct NewerPackageRow {
    const char* name;
    MendloftSetupResult (FixHelper::*run)(std::int32_t);
    const wchar_t* inf32;  // in the staging folder
};

class NewerPackage : public SetupFlowTest, public testing::WithParamInterface<NewerPackageRow> {};

TEST_P(NewerPackage, HasNo32BitInf) {
    CapturedStandardOutput console;
    os.Is64Bit(false);

    EXPECT_EQ(-1, (helper.*GetParam().run)(1));

    const std::wstring inf = Staged(GetParam().inf32);
    const std::string flow = GetParam().name;
    const std::string narrow(inf.begin(), inf.end());
    EXPECT_EQ(flow + " inf path: " + narrow + "\n" + flow + " inf not exist: " + narrow + "\n",
              console.Text());
}

INSTANTIATE_TEST_SUITE_P(
    , NewerPackage,
    testing::Values(NewerPackageRow{"SetUpKisDriver", &FixHelper::SetUpKisDriver,
                                    L"applekis\\x86\\AppleKIS.inf"},
                    NewerPackageRow{"SetUpRsmDriver", &FixHelper::SetUpRsmDriver,
                                    L"applersm\\x86\\AppleRSM.inf"},
                    NewerPackageRow{"SetUpAppleUsbDeviceDriver",
                                    &FixHelper::SetUpAppleUsbDeviceDriver,
                                    L"appleusbdevice\\x86\\AppleUsb.inf"}),
    [](const auto& row) { return row.param.name; });

TEST_F(SetupFlowTest, LooksForANewerPackageAtTheRootOfTheDriveOnWindowsXp) {
    CapturedStandardOutput console;
    os.Version(5, 1);

    EXPECT_EQ(-1, helper.SetUpKisDriver(1));

    EXPECT_EQ(
        "SetUpKisDriver inf path: \\applekis\\x64\\AppleKIS.inf\n"
        "SetUpKisDriver inf not exist: \\applekis\\x64\\AppleKIS.inf\n",
        console.Text());
}

// --- The argument --------------------------------------------------------------------------------

TEST_F(SetupFlowTest, LooksOnlyAtTheLowByteOfItsArgument) {
    WriteFileContent(store.Folder(L"usbaapl64.inf_amd64_c0e4d8c2aef471b7\\a"));

    EXPECT_EQ(0, helper.SetUpUsbDriver(256));

    EXPECT_THAT(installer.commandLines,
                ElementsAre(Tool64() + L" -d \"" + Staged(L"usb\\x64\\usbaapl64.inf") + L"\""));
    EXPECT_THAT(store.Content(), IsEmpty());
}

}  // namespace
