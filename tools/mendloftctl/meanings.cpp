#include "mendloftctl/meanings.h"

#include <algorithm>
#include <iterator>

#include "mendloft/mendloft.h"

namespace ctl {

namespace {

// Grouped by kind, because the same number means different things for different functions.
constexpr Meaning kMeanings[] = {
    {ResultKind::kFolder, kMendloftFoldersBuilt, ExitStatus::kSuccess,
     "The driver-store folders were created, secured and filled, as far as Windows allowed it."},
    {ResultKind::kFolder, kMendloftFoldersGone, ExitStatus::kSuccess,
     "None of the driver-store folders exists any more."},
    {ResultKind::kFolder, kMendloftFoldersFailed, ExitStatus::kFailed,
     "The driver archive could not be unpacked, or a driver-store folder could not be removed."},
    {ResultKind::kFolder, kMendloftFoldersOldSystem, ExitStatus::kOldWindows,
     "This Windows is older than Windows Vista; nothing was done."},

    {ResultKind::kSetup, kMendloftSetupToolRan, ExitStatus::kSuccess,
     "The installer tool was started and has ended; its exit code is not known."},
    {ResultKind::kSetup, kMendloftSetupInfMissing, ExitStatus::kInfMissing,
     "No INF file of this driver package was found, neither installed nor unpacked from the driver "
     "archive."},
    {ResultKind::kSetup, kMendloftSetupToolMissing, ExitStatus::kInstallerMissing,
     "The installer tool is not in the folder files\\inf beside the library."},
    {ResultKind::kSetup, kMendloftSetupToolNotStarted, ExitStatus::kInstallerNotStarted,
     "Windows could not start the installer tool."},

    {ResultKind::kPort, 1, ExitStatus::kSuccess,
     "A program on this machine accepts connections on the port."},
    {ResultKind::kPort, 0, ExitStatus::kNobodyListens,
     "No program on this machine accepts connections on the port."},
};

constexpr Meaning kUnknown{ResultKind::kFolder, 0, ExitStatus::kUnknownCode,
                           "The function is not known to return this number."};

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
