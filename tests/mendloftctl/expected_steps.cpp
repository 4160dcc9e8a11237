#include "mendloftctl/expected_steps.h"

#include <stdexcept>
#include <string_view>

#include "exports/expected_store.h"

namespace {

using Names = std::vector<const wchar_t*>;

constexpr const wchar_t* kStore = L"C:\\Windows\\System32\\DriverStore\\FileRepository\\";
constexpr const wchar_t* kApple =
    L"C:\\Program Files\\Common Files\\Apple\\Mobile Device Support\\";

// The INF files of the package that a function sets up.
struct InfFiles {
    std::string_view function;
    const wchar_t* installed64;  // below the folder of Apple's software; null for newer packages
    const wchar_t* installed32;
    const wchar_t* staged64;  // relative to the staging folder
    const wchar_t* staged32;
};

constexpr InfFiles kInfFiles[] = {
    {"SetUpUSBDriver", L"Drivers\\usbaapl64.inf", L"Drivers\\usbaapl.inf",
     L"\\usb\\x64\\usbaapl64.inf", L"\\usb\\x86\\usbaapl.inf"},
    {"SetUpNetDriver", L"NetDrivers\\netaapl64.inf", L"NetDrivers\\netaapl.inf",
     L"\\net\\x64\\netaapl64.inf", L"\\net\\x86\\netaapl.inf"},
    {"SetUpKisDriver", nullptr, nullptr, L"\\applekis\\x64\\AppleKIS.inf",
     L"\\applekis\\x86\\AppleKIS.inf"},
    {"SetUpRSMDriver", nullptr, nullptr, L"\\applersm\\x64\\AppleRSM.inf",
     L"\\applersm\\x86\\AppleRSM.inf"},
    {"SetUpAppleUSBDeviceDriver", nullptr, nullptr, L"\\appleusbdevice\\x64\\AppleUsb.inf",
     L"\\appleusbdevice\\x86\\AppleUsb.inf"},
};

const InfFiles& InfFilesOf(std::string_view function) {
    for (const InfFiles& files : kInfFiles) {
        if (files.function == function) return files;
    }
    throw std::logic_error("sets up no package");
}

// In the order in which a folder is listed, which ignores case.
Names UsbFiles() {
    if (PrefixIs64Bit())
        return {L"USBAAPL64.CAT", L"usbaapl64.inf", L"usbaapl64.sys", L"usbaaplrc.dll"};
    return {L"USBAAPL.CAT", L"usbaapl.inf", L"usbaapl.PNF", L"usbaapl.sys", L"usbaaplrc.dll"};
}

Names NetFiles() {
    if (PrefixIs64Bit())
        return {L"netaapl64.cat", L"netaapl64.inf", L"netaapl64.sys", L"WdfCoInstaller01009.dll"};
    return {L"netaapl.cat", L"netaapl.inf", L"netaapl.sys", L"WdfCoInstaller01009.dll"};
}

class Steps {
public:
    Steps(const PlannedCall& call, const Places& places) : call_(call), places_(places) {
        const ExpectedStore names = StoreOfThisPrefix();
        for (const std::wstring& name : names.usb) usb_.push_back(kStore + name);
        net_ = kStore + names.net;
    }

    std::wstring Text() {
        for (const Passage passage : call_.Expected().passages) Add(passage);
        return std::move(text_);
    }

private:
    void Add(Passage passage) {
        switch (passage) {
            case kPrepare:
                Line(L"end processes|WerFault.exe");
                return Line(L"enable privileges|SeRestorePrivilege, SeBackupPrivilege");
            case kStage:
                return AddStaging();
            case kRebuild:
                return AddRebuild();
            case kRemove:
                if (usb_.size() > 1) Line(L"delete folder|" + usb_[1]);
                Line(L"delete folder|" + usb_[0]);
                return Line(L"delete folder|" + net_);
            case kInstalledInf:
                return Line(L"look for|" + InstalledInf(call_));
            case kStagedInf:
                return Line(L"look for|" + StagedInf());
            case kUnknownInf:
                return Line(L"look for|an INF file");
            case kTool:
                return Line(L"look for|" + Tool());
            case kInstall:
                return AddRun(L" -i ");
            case kUninstall:
                return AddRun(L" -d ");
        }
    }

    void AddStaging() {
        Line(L"create folder|" + places_.stagingFolder);
        Line(L"write file|" + places_.stagingFolder + L"\\driver.7z");
        for (const ctl::ArchiveItem& item : places_.archive) {
            Line((item.isFolder ? L"create folder|" : L"write file|") + places_.stagingFolder +
                 L"\\" + item.path);
        }
    }

    void AddRebuild() {
        for (const std::wstring& folder : usb_) AddFolder(folder);
        AddFolder(net_);
        const std::wstring bitness = PrefixIs64Bit() ? L"\\x64" : L"\\x86";
        for (const std::wstring name : UsbFiles()) {
            for (const std::wstring& folder : usb_) {
                Line(L"copy file|" + places_.stagingFolder + L"\\usb" + bitness + L"\\" + name +
                     L"|" + folder + L"\\" + name);
            }
        }
        // The library puts no backslash before the name, so there is no such file to copy.
        for (const std::wstring name : NetFiles()) {
            Line(L"copy file|" + places_.stagingFolder + L"\\net" + bitness + name + L"|" + net_ +
                 L"\\" + name);
        }
    }

    void AddFolder(const std::wstring& folder) {
        Line(L"create folder|" + folder);
        Line(L"set access of|" + folder);
    }

    void AddRun(const wchar_t* option) {
        const bool installed = call_.found == Found::kInf;
        const std::wstring inf = installed ? InstalledInf(call_) : StagedInf();
        Line(L"run|" + Tool() + option + L"\"" + inf + L"\"");
        Line(L"enumerate devices|the whole device tree");
    }

    [[nodiscard]] std::wstring StagedInf() const {
        const InfFiles& files = InfFilesOf(call_.function);
        return places_.stagingFolder + (PrefixIs64Bit() ? files.staged64 : files.staged32);
    }
    [[nodiscard]] std::wstring Tool() const {
        return places_.libraryFolder + (PrefixIs64Bit() ? L"\\files\\inf\\InfInstallerx64.exe"
                                                        : L"\\files\\inf\\InfInstallerx86.exe");
    }

    void Line(const std::wstring& step) { text_ += step + L"\n"; }

    const PlannedCall& call_;
    const Places& places_;
    std::vector<std::wstring> usb_;
    std::wstring net_;
    std::wstring text_;
};

}  // namespace

std::wstring ExpectedSteps(const PlannedCall& call, const Places& places) {
    return Steps(call, places).Text();
}

std::wstring InstalledInf(const PlannedCall& call) {
    const InfFiles& files = InfFilesOf(call.function);
    return kApple + std::wstring(PrefixIs64Bit() ? files.installed64 : files.installed32);
}
