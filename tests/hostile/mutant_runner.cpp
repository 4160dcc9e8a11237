// Unpacks many archives one after another in one process, for tests that compare the results.
//
//     mutant_runner FOLDER COUNT SECONDS
//
// Below FOLDER, 0\archive to COUNT-1\archive are unpacked into 0\out and so on. Prints a line for
// each:
//
//     NUMBER RESULT PEAK REFUSED MILLISECONDS LEFT
//
// RESULT is that of ExtractTo in hexadecimal, or "threw". PEAK is the largest number of bytes that
// were allocated at a time, and REFUSED is the size of the largest block that could not be
// allocated. LEFT is the number of bytes that are allocated and were not before. The last line
// tells what was still held after the first half and after all of them, and the peak working set of
// the process:
//
//     end HANDLES-AT-HALF HANDLES BYTES-AT-HALF BYTES TOUCHED
//
// Ends with 3 after an archive that takes longer than SECONDS, with 4 when the heap is damaged, and
// with 1 after an unexpected exception.

#include <windows.h>
#include <comdef.h>
#include <malloc.h>
#include <psapi.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
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
    const long long left = meter.LiveSince(before);
    std::cout << number << ' ';
    if (result) {
        std::cout << std::hex << *result << std::dec;
    } else {
        std::cout << "threw";
    }
    // Flushed at once, so that the last line before a crash is that of the archive before.
    std::cout << ' ' << meter.Peak() - before << ' ' << meter.LargestRefused() << ' '
              << ::GetTickCount64() - startedAt << ' ' << left << std::endl;
    if (::_heapchk() != _HEAPOK) ::TerminateProcess(::GetCurrentProcess(), kHeapDamaged);
}

// At the first exception, the runtime allocates tables and locks that it never frees. This has it
// done before the first measurement.
void ThrowOnce() {
    try {
        throw std::exception();
    } catch (const std::exception&) {
        return;
    }
}

std::size_t TouchedBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    (void)::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof(counters));
    return counters.PeakWorkingSetSize;
}

}  // namespace

int main(int, char** arguments) try {
    const std::string folder = arguments[1];
    const std::wstring wideFolder(folder.begin(), folder.end());
    const unsigned count = static_cast<unsigned>(std::atoi(arguments[2]));
    const ULONGLONG seconds = static_cast<ULONGLONG>(std::atoi(arguments[3]));
    startedAt = ::GetTickCount64();
    std::thread(WatchTime, seconds * 1000).detach();

    ThrowOnce();
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
} catch (const std::exception& error) {
    std::fprintf(stderr, "mutant_runner: %s\n", error.what());
    return 1;
}
