// Measures how long it takes to extract an archive, in this process and with 7-Zip's console
// program.
//
//   bench_extract ROUNDS CONSOLE ARCHIVE
//
// Prints a line for each value: its name, a tab, and how many milliseconds or bytes it is.
#include <windows.h>
#include <shellapi.h>

#include <cstdint>
#include <exception>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include "archive/seven_zip_extractor.h"
#include "decode_only.h"
#include "platform/unique_handle.h"
#include "program_run.h"
#include "stopwatch.h"
#include "support/child_process.h"
#include "support/temporary_folder.h"

namespace {

void Print(const char* name, double value) {
    std::cout << name << '\t' << value << '\n';
}

std::wstring Quoted(const std::wstring& text) {
    return L'"' + text + L'"';
}

void Extract(const std::wstring& archive, const std::wstring& folder) {
    SevenZip::SevenZipExtractor extractor;
    (void)extractor.SetArchivePath(archive);
    const std::int32_t result = extractor.ExtractTo(folder, nullptr);
    if (result != 0) throw std::runtime_error("extraction ended with " + std::to_string(result));
}

// The time that the console program reports, from the creation of its process to its last line.
double TimeInside(const ProgramRun& run) {
    const std::size_t line = run.output.find("Global ");
    const std::size_t equals = run.output.find('=', line);
    if (line == std::string::npos || equals == std::string::npos) {
        throw std::runtime_error("the console program does not report its time:\n" + run.output);
    }
    return 1000 * std::stod(run.output.substr(equals + 1));
}

class Comparison {
public:
    Comparison(const std::wstring& console, const std::wstring& archive)
        : archive_(archive),
          console_(Quoted(console)),
          own_(Quoted(ProgramFolder() + L"\\extract_once.exe")) {}

    // Both sides must do the same work, and have everything they read in the system's cache.
    void WarmUp() const {
        const TemporaryFolder ours;
        const TemporaryFolder theirs;
        Extract(archive_, ours.Path());
        (void)RunProgram(ConsoleExtract(theirs));
        if (TreeContent(ours.Path()) != TreeContent(theirs.Path())) {
            throw std::runtime_error("the console program extracts something else");
        }
    }

    void DescribeArchive() const {
        SevenZip::SevenZipArchive archive;
        (void)archive.SetArchivePath(archive_);
        const std::vector<std::uint32_t> sizes = archive.GetItemSizes();
        Print("packed", static_cast<double>(std::filesystem::file_size(archive_)));
        Print("unpacked", std::accumulate(sizes.begin(), sizes.end(), 0.0));
    }

    // One value of each kind, measured one after another so that the machine is in the same state
    // for all.
    void MeasureTimes() const {
        Print("extract", TimeOfExtract());
        MeasureConsoleExtract();
        Print("decode", TimeOfDecode());
        Print("console t", RunProgram(console_ + kTestOptions + Quoted(archive_)).milliseconds);
        Print("start", RunProgram(console_).milliseconds);
        Print("own process", TimeOfOwnProcess());
    }

private:
    static constexpr const wchar_t* kExtractOptions = L" x -mmt=1 -y -bd -bt -o";
    static constexpr const wchar_t* kTestOptions = L" t -mmt=1 -bd ";

    [[nodiscard]] std::wstring ConsoleExtract(const TemporaryFolder& folder) const {
        return console_ + kExtractOptions + Quoted(folder.Path()) + L" " + Quoted(archive_);
    }

    [[nodiscard]] std::wstring OwnExtract(const TemporaryFolder& folder) const {
        return own_ + L" " + Quoted(archive_) + L" " + Quoted(folder.Path());
    }

    [[nodiscard]] double TimeOfExtract() const {
        const TemporaryFolder folder;
        return Microseconds([&] { Extract(archive_, folder.Path()); }) / 1000;
    }

    [[nodiscard]] double TimeOfDecode() const {
        return Microseconds([&] { DecodeOnly(archive_); }) / 1000;
    }

    [[nodiscard]] double TimeOfOwnProcess() const {
        const TemporaryFolder folder;
        return RunProgram(OwnExtract(folder)).milliseconds;
    }

    void MeasureConsoleExtract() const {
        const TemporaryFolder folder;
        const ProgramRun run = RunProgram(ConsoleExtract(folder));
        Print("console x", run.milliseconds);
        Print("x inside", TimeInside(run));
    }

    std::wstring archive_;
    std::wstring console_;
    std::wstring own_;  // does the same with SevenZipExtractor
};

void Compare(int rounds, const std::wstring& console, const std::wstring& archive) {
    const Comparison comparison(console, archive);
    comparison.WarmUp();
    comparison.DescribeArchive();
    for (int round = 0; round < rounds; ++round) comparison.MeasureTimes();
}

std::vector<std::wstring> Arguments() {
    int count = 0;
    const UniqueLocal<wchar_t*> arguments(::CommandLineToArgvW(::GetCommandLineW(), &count));
    return {arguments.Get() + 1, arguments.Get() + count};
}

}  // namespace

int main() {
    try {
        std::cout << std::fixed << std::setprecision(3);
        const std::vector<std::wstring> arguments = Arguments();
        if (arguments.size() != 3) {
            throw std::runtime_error("usage: bench_extract ROUNDS CONSOLE ARCHIVE");
        }
        Compare(std::stoi(arguments[0]), arguments[1], arguments[2]);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "bench_extract: " << error.what() << '\n';
        return 1;
    }
}
