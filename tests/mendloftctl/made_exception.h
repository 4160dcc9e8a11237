#pragma once

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

// A C++ exception in the form of the Microsoft ABI, made by hand: the structures that a compiler
// writes, and the object. It must not be moved, because the structures point to each other.
class MadeException {
public:
    explicit MadeException(std::string_view typeName) {
        std::copy(typeName.begin(), typeName.end(), descriptor.name.begin());
    }
    MadeException(const MadeException&) = delete;
    MadeException& operator=(const MadeException&) = delete;
    ~MadeException() = default;

    // The parameters of the exception.
    [[nodiscard]] std::array<ULONG_PTR, 3> Parameters() const {
        return {0x19930520, reinterpret_cast<ULONG_PTR>(object.data()),
                reinterpret_cast<ULONG_PTR>(&info)};
    }

    struct Descriptor {
        const void* functions;
        void* spare;
        std::array<char, 300> name;
    } descriptor{};
    struct Type {
        unsigned properties;
        const Descriptor* descriptor;
        std::array<int, 3> displacement;
        int size;
        const void* copy;
    } type{0, &descriptor, {0, -1, 0}, 16, nullptr};
    struct Types {
        int count;
        const Type* first;
    } types{1, &type};
    struct Info {
        unsigned attributes;
        const void* destructor;
        const void* forwardCompatibility;
        const Types* types;
    } info{0, nullptr, nullptr, &types};
    std::array<std::uint32_t, 4> object{};
};
