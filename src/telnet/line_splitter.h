#pragma once

#include <cstddef>

namespace TELNET {

// The byte that opens a telnet command ("interpret as command"); two more bytes belong to it.
inline constexpr unsigned char kTelnetCommand = 0xFF;
inline constexpr int kTelnetCommandSize = 3;

// How far behind its chunk the splitter may read: a command whose first byte is the chunk's last
// one is skipped all the same.
inline constexpr std::size_t kSplitterSlack = kTelnetCommandSize - 1;

// Cuts what one recv has brought into lines and calls `push(text, length)` for each. `chunk` holds
// `size` bytes and kSplitterSlack readable ones behind them.
//
// A line begins with the first byte from 0x20 to 0x7F and ends with its line feed. What lies
// between lines is dropped; inside a line every byte is kept. Nothing is carried over to the next
// chunk, so a line that arrives in two chunks gives two texts.
template <typename Push>
void SplitLines(const char* chunk, int size, Push push) {
    bool inLine = false;
    bool seen = false;
    int start = 0;
    int i = 0;
    while (i < size) {
        const auto byte = static_cast<unsigned char>(chunk[i]);
        if (inLine) {
            if (byte == '\n') {
                push(chunk + start, i + 1 - start);
                inLine = false;
                start = i;
            }
            ++i;
        } else if (byte == kTelnetCommand) {
            i += kTelnetCommandSize;
        } else {
            if (byte >= 0x20 && byte <= 0x7F) {
                inLine = true;
                seen = true;
                start = i;
            }
            ++i;
        }
    }

    // `seen` stays set and `start` stays on the line feed of the last complete line. So a chunk
    // that ends with a complete line gives its line feed once more, as a text of its own, together
    // with what was dropped behind it. When that is a command cut off by the end of the chunk, the
    // text reaches up to two bytes behind the chunk.
    if (i > start && seen) push(chunk + start, i - start);
}

}  // namespace TELNET
