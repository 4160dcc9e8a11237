#include "proof/subjects.h"

namespace {

constexpr std::initializer_list<std::int32_t> kFolderResults = {0, 1, 2, 4};
constexpr std::initializer_list<std::int32_t> kSetupResults = {0, -1, -2, -3};
constexpr std::initializer_list<std::int32_t> kPortResults = {0, 1};

constexpr Subject kSubjects[] = {
    {.exportName = "AMDPortTest",
     .situation = "open port",
     .argument = 0,
     .port = Subject::Port::kOpen,
     .documented = kPortResults},
    {.exportName = "AMDPortTest",
     .situation = "closed port",
     .argument = 0,
     .port = Subject::Port::kClosed,
     .documented = kPortResults},
    {.exportName = "MendloftFolder",
     .situation = "repair",
     .argument = 1,
     .crashReporter = true,
     .documented = kFolderResults},
    {.exportName = "MendloftFolder",
     .situation = "removal",
     .argument = 0,
     .staged = true,
     .documented = kFolderResults},
    {.exportName = "SetUpUSBDriver",
     .situation = "installation",
     .argument = 1,
     .documented = kSetupResults},
    {.exportName = "SetUpUSBDriver",
     .situation = "removal",
     .argument = 0,
     .staged = true,
     .documented = kSetupResults},
    {.exportName = "SetUpNetDriver",
     .situation = "installation",
     .argument = 1,
     .documented = kSetupResults},
    {.exportName = "SetUpNetDriver",
     .situation = "removal",
     .argument = 0,
     .staged = true,
     .infInstalled = true,
     .documented = kSetupResults},
    {.exportName = "SetUpKisDriver",
     .situation = "installation",
     .argument = 1,
     .documented = kSetupResults},
    {.exportName = "SetUpKisDriver",
     .situation = "removal",
     .argument = 0,
     .staged = true,
     .documented = kSetupResults},
    {.exportName = "SetUpRSMDriver",
     .situation = "installation",
     .argument = 1,
     .documented = kSetupResults},
    {.exportName = "SetUpRSMDriver",
     .situation = "removal",
     .argument = 0,
     .staged = true,
     .documented = kSetupResults},
    {.exportName = "SetUpAppleUSBDeviceDriver",
     .situation = "installation",
     .argument = 1,
     .documented = kSetupResults},
    {.exportName = "SetUpAppleUSBDeviceDriver",
     .situation = "removal",
     .argument = 0,
     .staged = true,
     .documented = kSetupResults},
};

}  // namespace

std::span<const Subject> Subjects() {
    return kSubjects;
}
