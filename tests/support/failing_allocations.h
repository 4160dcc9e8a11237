#pragma once

#include <cstddef>

// While it lives, operator new throws std::bad_alloc for blocks of `atLeast` bytes and more. For
// test programs that have failing_allocations.cpp among their sources.
class FailingAllocations {
public:
    explicit FailingAllocations(std::size_t atLeast);
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;
    ~FailingAllocations();
};
