#include "mendloftctl/meanings.h"

#include <algorithm>
#include <iterator>

#include "api/fix_helper.h"

namespace ctl {

namespace {

constexpr Meaning kMeanings[] = {
    {ResultKind::kFolder, FixHelper::kFoldersBuilt, ExitStatus::kSuccess,
     "The driver-store folders were created, secured and filled, as far as Windows let it."},
    {ResultKind::kFolder, FixHelper::kDone, ExitStatus::kSuccess,
     "None of the driver-store folders is there any more."},
    {ResultKind::kFolder, FixHelper::kFailed, ExitStatus::kFailed,
     "The driver archive could not be unpacked, or a driver-store folder could not be removed."},
    {ResultKind::kFolder, FixHelper::kOldSystem, ExitStatus::kOldWindows,
     "This Windows is older than Windows Vista; nothing was done."},

    {ResultKind::kSetup, FixHelper::kInstallerRan, ExitStatus::kSuccess,
     "The installer tool was started and has ended; what it ended with is not known."},
    {ResultKind::kSetup, FixHelper::kInfMissing, ExitStatus::kInfMissing,
     "No INF file of this driver package was found, neither installed nor unpacked from the driver "
     "archive."},
    {ResultKind::kSetup, FixHelper::kInstallerMissing, ExitStatus::kInstallerMissing,
     "The installer tool is not in the folder files\\inf beside the library."},
    {ResultKind::kSetup, FixHelper::kInstallerNotStarted, ExitStatus::kInstallerNotStarted,
     "Windows could not start the installer tool."},

    {ResultKind::kPort, 1, ExitStatus::kSuccess,
     "A program on this machine accepts connections on the port."},
    {ResultKind::kPort, 0, ExitStatus::kNobodyListens,
     "No program on this machine accepts connections on the port."},
};

constexpr Meaning kUnknown{ResultKind::kFolder, 0, ExitStatus::kUnknownCode,
                           "This number is none that the function is known to return."};

}  // namespace

std::span<const Meaning> AllMeanings() {
    return kMeanings;
}

const Meaning& MeaningOf(ResultKind results, std::int32_t code) {
    const auto* const found = std::ranges::find_if(
        kMeanings, [&](const Meaning& row) { return row.results == results && row.code == code; });
    return found == std::end(kMeanings) ? kUnknown : *found;
}

}  // namespace ctl
