// Unpacks many archives, one after the other in one process, for tests that compare the outcome.
//
//     mutant_runner FOLDER COUNT SECONDS
//
// Below FOLDER, 0\archive to COUNT-1\archive are unpacked into 0\out and so on. Prints a line for
// each:
//
//     NUMBER RESULT PEAK REFUSED MILLISECONDS
//
// RESULT is that of ExtractTo in hexadecimal, or "threw"; PEAK is how many bytes were allocated at
// a time, and REFUSED the largest block that could not be had. The last line tells what the first
// half and all of them have left behind, and the most memory that the process has touched:
//
//     end HANDLES-AT-HALF HANDLES BYTES-AT-HALF BYTES TOUCHED
//
// Ends with 3 after an archive that takes longer than SECONDS, and with 4 when the heap is damaged.

#include <windows.h>
#include <comdef.h>
#include <malloc.h>
#include <psapi.h>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <thread>

#include "archive/seven_zip_extractor.h"
#include "hostile/allocation_meter.h"
#include "hostile/far_seeks.h"
#include "support/process_counts.h"

namespace {

constexpr UINT kHung = 3;
constexpr UINT kHeapDamaged = 4;

std::atomic<ULONGLONG> startedAt;

void WatchTime(ULONGLONG milliseconds) {
    for (;;) {
        ::Sleep(1000);
        if (::GetTickCount64() - startedAt < milliseconds) continue;
        ::TerminateProcess(::GetCurrentProcess(), kHung);
    }
}

std::optional<std::int32_t> Extract(const std::wstring& folder) {
    SevenZip::SevenZipExtractor extractor;
    (void)extractor.SetArchivePath(folder + L"\\archive");
    try {
        return extractor.ExtractTo(folder + L"\\out", nullptr);
    } catch (const _com_error&) {
        return std::nullopt;
    }
}

void Run(const std::wstring& folder, unsigned number, AllocationMeter& meter) {
    startedAt = ::GetTickCount64();
    meter.ForgetPeaks();
    const long long before = meter.Live();
    const auto result = Extract(folder + L"\\" + std::to_wstring(number));
    std::cout << number << ' ';
    if (result) {
        std::cout << std::hex << *result << std::dec;
    } else {
        std::cout << "threw";
    }
    // At once, so that a crash shows behind the archive before it.
    std::cout << ' ' << meter.Peak() - before << ' ' << meter.LargestRefused() << ' '
              << ::GetTickCount64() - startedAt << std::endl;
    if (::_heapchk() != _HEAPOK) ::TerminateProcess(::GetCurrentProcess(), kHeapDamaged);
}

std::size_t TouchedBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    (void)::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof(counters));
    return counters.PeakWorkingSetSize;
}

}  // namespace

int main(int, char** arguments) {
    const std::string folder = arguments[1];
    const std::wstring wideFolder(folder.begin(), folder.end());
    const unsigned count = static_cast<unsigned>(std::atoi(arguments[2]));
    const ULONGLONG seconds = static_cast<ULONGLONG>(std::atoi(arguments[3]));
    startedAt = ::GetTickCount64();
    std::thread(WatchTime, seconds * 1000).detach();

    const FarSeeks farSeeks;
    AllocationMeter meter;
    const unsigned half = count / 2;
    for (unsigned number = 0; number < half; ++number) Run(wideFolder, number, meter);
    const std::size_t handlesAtHalf = ProcessCounts::Now().handles;
    const long long bytesAtHalf = meter.Live();
    for (unsigned number = half; number < count; ++number) Run(wideFolder, number, meter);

    const std::size_t handles = ProcessCounts::Now().handles;
    std::cout << "end " << handlesAtHalf << ' ' << handles << ' ' << bytesAtHalf << ' '
              << meter.Live() << ' ' << TouchedBytes() << std::endl;
}
