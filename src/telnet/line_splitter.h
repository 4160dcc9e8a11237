#pragma once

#include <cstddef>

namespace TELNET {

// The byte that begins a telnet command ("interpret as command"). Two more bytes belong to it.
inline constexpr unsigned char kTelnetCommand = 0xFF;
inline constexpr int kTelnetCommandSize = 3;

// How many bytes the splitter may read after the end of its chunk. A command is skipped as a whole,
// even when the chunk ends after its first byte.
inline constexpr std::size_t kSplitterSlack = kTelnetCommandSize - 1;

// Divides the bytes of one recv into lines and calls `push(text, length)` for each. `chunk`
// contains `size` bytes and kSplitterSlack more readable bytes after them.
//
// A line begins with the first byte from 0x20 to 0x7F and ends with its line feed. Bytes between
// lines are dropped, and every byte inside a line belongs to it. Nothing is carried over to the
// next chunk, so a line that arrives in two chunks gives two texts.
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

    // The rest of the chunk. `seen` is not reset, and `start` is on the line feed of the last
    // complete line. So a chunk that ends with a complete line gives one more text: this line feed
    // and the bytes that were dropped after it. A caller of Receive gets it like any line and may
    // take it for the end of an answer; without it, that caller would wait forever. When the chunk
    // ends inside a telnet command, the text contains up to two bytes after the chunk.
    if (i > start && seen) push(chunk + start, i - start);
}

}  // namespace TELNET
