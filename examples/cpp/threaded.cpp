// A host that repairs the folders, then installs a driver package, and stays responsive while the
// installer tool runs.
//
//   threaded usb | net | kis | rsm | appleusb
#include <mendloft/mendloft.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <iostream>
#include <map>
#include <string>

namespace {

const std::map<std::string, MendloftSetupFunction> kPackages{
    {"usb", SetUpUSBDriver},
    {"net", SetUpNetDriver},
    {"kis", SetUpKisDriver},
    {"rsm", SetUpRSMDriver},
    {"appleusb", SetUpAppleUSBDeviceDriver},
};

const std::map<std::int32_t, std::string> kMeanings{
    {kMendloftSetupToolRan, "the installer tool was run"},
    {kMendloftSetupInfMissing, "the driver's INF file is missing"},
    {kMendloftSetupToolMissing, "the installer tool is missing"},
    {kMendloftSetupToolNotStarted, "the installer tool could not be started"},
};

// The library waits for the installer tool without a time limit, so the call gets its own thread.
// Only one such call runs at a time, because all of them use the same folders.
std::int32_t Install(MendloftSetupFunction setUp) {
    std::future<std::int32_t> result = std::async(std::launch::async, setUp, 1);
    while (result.wait_for(std::chrono::seconds(1)) == std::future_status::timeout)
        std::cout << "still installing...\n";
    return result.get();
}

}  // namespace

int main(int argc, char** argv) {
    const auto package = kPackages.find(argc == 2 ? argv[1] : "");
    if (package == kPackages.end()) {
        std::cerr << "usage: threaded usb | net | kis | rsm | appleusb\n";
        return 1;
    }
    if (const std::int32_t result = MendloftFolder(1); result != kMendloftFoldersBuilt) {
        std::cout << "MendloftFolder: " << result << '\n';
        return 1;
    }
    const std::int32_t result = Install(package->second);
    std::cout << package->first << ": " << result << ", " << kMeanings.at(result) << '\n';
    return result == kMendloftSetupToolRan ? 0 : 1;
}
