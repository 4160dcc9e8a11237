#include "mendloftctl/process_memory.h"

#include <algorithm>

namespace ctl {

namespace {

constexpr std::size_t kPageSize = 4096;

}  // namespace

// Page by page: ReadProcessMemory fails as a whole when a part of the range cannot be read.
std::size_t ReadMemory(HANDLE process, std::uintptr_t address, std::span<std::byte> bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const std::uintptr_t place = address + done;
        const std::size_t size = std::min(kPageSize - place % kPageSize, bytes.size() - done);
        if (!::ReadProcessMemory(process, reinterpret_cast<const void*>(place), bytes.data() + done,
                                 size, nullptr)) {
            break;
        }
        done += size;
    }
    return done;
}

}  // namespace ctl
