#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>

// The records that Microsoft's compiler writes for a class that is thrown, in a 32-bit process.
// They are fixed, because a program catches what a DLL throws that another version of the compiler
// has built.
namespace microsoft {

// The records name member functions, which the host's runtime calls with the object in the register
// ecx and the other arguments on the stack. That is __fastcall with a second argument, in edx, that
// has no meaning.
using Copy = void*(__fastcall*)(void* self, int edx, const void* other);
using Destroy = void(__fastcall*)(void* self);
using DestroyAndDelete = void*(__fastcall*)(void* self, int edx, std::uint32_t flags);
using What = const char*(__fastcall*)(const void* self);

// The std::type_info of a class. Runtimes compare the names.
struct TypeDescriptor {
    const void* functions;
    void* spare;
    std::array<char, 24> name;
};

// Where a base class is in an object: at its beginning.
struct Displacement {
    std::int32_t offset = 0;
    std::int32_t virtualTable = -1;
    std::int32_t inVirtualTable = 0;
};

// A class as which an exception may be caught.
struct CatchableType {
    std::uint32_t properties;
    const TypeDescriptor* type;
    Displacement displacement;
    std::uint32_t size;
    Copy copy;
};

struct CatchableTypes {
    std::uint32_t count;
    std::array<const CatchableType*, 3> types;
};

struct ThrowInfo {
    std::uint32_t attributes;
    Destroy destroy;
    void* forwardCompatibility;
    const CatchableTypes* types;
};

// A class as an object of it or of a derived one has it, for typeid and dynamic_cast.
struct BaseClass {
    const TypeDescriptor* type;
    std::uint32_t baseCount;
    Displacement displacement;
    std::uint32_t attributes;
};

struct ClassHierarchy {
    std::uint32_t signature;
    std::uint32_t attributes;
    std::uint32_t count;
    const BaseClass* const* classes;
};

struct ObjectLocator {
    std::uint32_t signature;
    std::uint32_t offset;
    std::uint32_t constructorOffset;
    const TypeDescriptor* type;
    const ClassHierarchy* hierarchy;
};

// The virtual functions of a class. An object points to the first one.
struct VirtualTable {
    const ObjectLocator* locator;
    DestroyAndDelete destroy;
    What what;
};

// What there is of each class.
struct Class {
    TypeDescriptor type;
    CatchableType catchable;
    BaseClass base;
};

// What there is of each class that is thrown. The first of `classes` is the class itself, and its
// base classes follow.
struct Thrown {
    constexpr Thrown(std::initializer_list<const Class*> classes, Destroy destroy,
                     const VirtualTable& functions)
        : info{0, destroy, nullptr, &types},
          hierarchy{0, 0, static_cast<std::uint32_t>(classes.size()), bases.data()},
          locator{0, 0, 0, &(*classes.begin())->type, &hierarchy},
          table{&locator, functions.destroy, functions.what} {
        for (const Class* const one : classes) {
            bases[types.count] = &one->base;
            types.types[types.count++] = &one->catchable;
        }
    }
    Thrown(const Thrown&) = delete;
    Thrown& operator=(const Thrown&) = delete;

    CatchableTypes types{};
    ThrowInfo info;
    std::array<const BaseClass*, 3> bases{};
    ClassHierarchy hierarchy;
    ObjectLocator locator;
    VirtualTable table;
};

}  // namespace microsoft
