#include "support/failing_allocations.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

std::size_t limit = SIZE_MAX;

}  // namespace

FailingAllocations::FailingAllocations(std::size_t atLeast) {
    limit = atLeast;
}

FailingAllocations::~FailingAllocations() {
    limit = SIZE_MAX;
}

void* operator new(std::size_t size) {
    void* const block = size < limit ? std::malloc(size == 0 ? 1 : size) : nullptr;
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
