#include "telnet/nx_block.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "telnet/formatting.h"

namespace TELNET {

namespace {

constexpr std::string_view kTrailer = "</NxBlock>\r\n";
constexpr std::uint32_t kPieceSize = 1024;

// The text before the payload. It is on the stack unless the block's name is too long for that.
class Header {
public:
    explicit Header(const char* name) {
        constexpr std::size_t sizeWithoutName = sizeof("\r\n<NxBlock=>");
        const std::size_t size = sizeWithoutName + std::strlen(name);
        if (size > buffer_.size()) {
            longBuffer_ = std::make_unique_for_overwrite<char[]>(size);
            text_ = longBuffer_.get();
        }
        length_ = FormatUnbounded(text_, "\r\n<NxBlock=%s>", name);
    }
    Header(const Header&) = delete;
    Header& operator=(const Header&) = delete;

    [[nodiscard]] const char* Text() const { return text_; }
    [[nodiscard]] int Length() const { return length_; }

private:
    std::array<char, 256> buffer_;
    std::unique_ptr<char[]> longBuffer_;
    char* text_ = buffer_.data();
    int length_ = 0;
};

void SendInPieces(const std::atomic<SOCKET>& socket, const NxBlock& block) {
    std::uint32_t sent = 0;
    while (sent < block.length) {
        const std::uint32_t size = std::min(block.length - sent, kPieceSize);
        // The result is added unchecked. After a call that fails (-1), the next one starts one byte
        // earlier. So a passing failure, such as a lack of buffers, does not lose the rest of the
        // block. The first call is the exception: when it fails, `sent` wraps from 0 to the largest
        // number, the loop ends, and nothing of the payload is sent. When every later call fails,
        // `sent` goes back to 0 and wraps in the same way.
        sent += static_cast<std::uint32_t>(
            ::send(socket, block.data + sent, static_cast<int>(size), 0));
    }
}

}  // namespace

void SendFramed(const std::atomic<SOCKET>& socket, const NxBlock& block, Payload payload) {
    const Header header(block.name);
    (void)::send(socket, header.Text(), header.Length(), 0);
    if (payload == Payload::kInPieces) {
        SendInPieces(socket, block);
    } else {
        (void)::send(socket, block.data, static_cast<int>(block.length), 0);
    }
    (void)::send(socket, kTrailer.data(), static_cast<int>(kTrailer.size()), 0);
}

}  // namespace TELNET
