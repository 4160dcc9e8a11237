#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// The number of a virtual member function's slot. In a pointer to member, GCC and Clang store the
// slot's offset plus one.
template <typename Member>
[[nodiscard]] std::size_t SlotOf(Member member) {
    std::uintptr_t word = 0;
    std::memcpy(&word, &member, sizeof(word));
    return (word - 1) / sizeof(void*);
}
