// Measures how fast lines are split and tokenized. The input doubles from row to row; where the
// time is linear, the time per byte stays the same.
//
//   bench_text [ROUNDS]

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "stopwatch.h"
#include "telnet/line_splitter.h"
#include "telnet/line_tokenizer.h"

namespace {

std::string Repeat(std::string_view piece, std::size_t size) {
    std::string text;
    while (text.size() < size) text += piece;
    text.resize(size);
    return text;
}

// Prints the least time of `rounds` calls of `work(size)` for each size, and the time per byte
// relative to that of the first row. `work` returns the time that it took.
template <typename Work>
void Measure(const char* name, std::size_t first, std::size_t last, int rounds, Work work) {
    std::printf("%s\n     bytes        time     MB/s  per byte, against the first row\n", name);
    double firstPerByte = 0;
    for (std::size_t size = first; size <= last; size *= 2) {
        std::vector<double> times;
        for (int i = 0; i < rounds; ++i) times.push_back(work(size));
        const double time = Least(times);
        const double perByte = time / static_cast<double>(size);
        if (firstPerByte == 0) firstPerByte = perByte;
        std::printf("%10u  %7.1f us  %7.1f  %5.2f\n", static_cast<unsigned>(size), time,
                    1 / perByte, perByte / firstPerByte);
    }
}

// Keeps the compiler from leaving out the counted work.
volatile std::size_t g_sink = 0;

void MeasureSplitter(const char* name, std::string_view line, int rounds) {
    Measure(name, 64 * 1024, 16 * 1024 * 1024, rounds, [&](std::size_t size) {
        const std::string chunk = Repeat(line, size) + std::string(TELNET::kSplitterSlack, '\0');
        std::size_t lines = 0;
        const double time = Microseconds([&] {
            TELNET::SplitLines(chunk.data(), static_cast<int>(size),
                               [&](const char*, int) { ++lines; });
        });
        g_sink = lines;
        return time;
    });
}

// A line holds at most 2,047 characters and 512 tokens, so each row takes 500 lines.
void MeasureTokenizer(const char* name, std::string_view words, int rounds) {
    TELNET::LineTokenizer tokenizer;
    Measure(name, 128 * 500, 1024 * 500, rounds, [&](std::size_t size) {
        const std::string line = Repeat(words, size / 500);
        std::vector<std::string> lines(500, line);
        std::size_t tokens = 0;
        const double time = Microseconds([&] {
            for (std::string& text : lines) {
                std::int32_t count = 0;
                (void)tokenizer.Parse(text.data(), &count);
                tokens += static_cast<std::size_t>(count);
            }
        });
        g_sink = tokens;
        return time;
    });
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 15;
    MeasureSplitter("line splitter, lines of 40 bytes",
                    "220 a line of text as a service sends it\r\n", rounds);
    MeasureSplitter("line splitter, one line without an end", "x", rounds);
    MeasureSplitter("line splitter, telnet commands only", "\xFF\xFB\x01", rounds);
    MeasureTokenizer("tokenizer, words and quoted words", "set value=(12345, \"two words\") ",
                     rounds);
    MeasureTokenizer("tokenizer, one word without an end", "x", rounds);
}
