#pragma once

#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

// A plain model of the line splitter: find the beginning of a line, find its end, and continue
// after it. `slack` is the two bytes after the chunk.
inline std::vector<std::string> ModelSplit(const std::string& chunk, const std::string& slack) {
    std::vector<std::string> texts;
    std::optional<std::size_t> lastLineFeed;
    std::size_t at = 0;
    while (true) {
        // As signed characters, only the bytes from 0x20 to 0x7F are not less than a blank.
        while (at < chunk.size() && static_cast<signed char>(chunk[at]) < ' ') {
            at += chunk[at] == '\xFF' ? 3u : 1u;
        }
        if (at >= chunk.size()) break;

        const std::size_t lineFeed = chunk.find('\n', at);
        if (lineFeed == std::string::npos) {
            texts.push_back(chunk.substr(at));
            return texts;
        }
        texts.push_back(chunk.substr(at, lineFeed + 1 - at));
        lastLineFeed = lineFeed;
        at = lineFeed + 1;
    }
    if (lastLineFeed) texts.push_back((chunk + slack).substr(*lastLineFeed, at - *lastLineFeed));
    return texts;
}

// Up to `longest` bytes, mostly those that mean something to the splitter.
inline std::string RandomChunk(std::mt19937& random, std::size_t longest) {
    constexpr std::string_view bytes("ab \x7F\n\n\r\xFF\xFF\xFB\x1F\x80\0", 13);
    std::string chunk(std::uniform_int_distribution<std::size_t>(0, longest)(random), '\0');
    std::uniform_int_distribution<std::size_t> pick(0, bytes.size() - 1);
    for (char& byte : chunk) byte = bytes[pick(random)];
    return chunk;
}
