#include "exports/host_exception.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>

// For mingw-w64 only. The records that Microsoft's compiler writes for a class that is thrown, and
// the layout of the thrown objects, in a 32-bit process. Both are fixed, because a program catches
// what a DLL throws that another version of the compiler has built.

namespace {

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

// The class of comdef.h. The host may ask it for the system's message, which it keeps.
struct ComError {
    const void* functions;
    HRESULT code;
    IErrorInfo* information;
    HLOCAL message;
};
static_assert(sizeof(ComError) == 16);

void __fastcall DestroyComError(void* self) {
    auto* const error = static_cast<ComError*>(self);
    if (error->information != nullptr) (void)error->information->Release();
    (void)::LocalFree(error->message);
}

void* __fastcall CopyComError(void* self, int /*edx*/, const void* other) {
    auto* const error = new (self) ComError(*static_cast<const ComError*>(other));
    error->message = nullptr;
    if (error->information != nullptr) (void)error->information->AddRef();
    return self;
}

// Whoever has allocated the object frees it. It was not the library.
void* __fastcall DestroyComErrorOnly(void* self, int /*edx*/, std::uint32_t /*flags*/) {
    DestroyComError(self);
    return self;
}

// The class std::exception and those derived from it. The text is a literal.
struct StandardException {
    const void* functions;
    const char* text;
    bool isAllocated;
};
static_assert(sizeof(StandardException) == 12);

void __fastcall DestroyStandardException(void* /*self*/) {}

void* __fastcall CopyStandardException(void* self, int /*edx*/, const void* other) {
    return new (self) StandardException(*static_cast<const StandardException*>(other));
}

void* __fastcall DestroyStandardExceptionOnly(void* self, int /*edx*/, std::uint32_t /*flags*/) {
    return self;
}

const char* __fastcall TextOf(const void* self) {
    return static_cast<const StandardException*>(self)->text;
}

constexpr CatchableType CaughtComError(const TypeDescriptor& type) {
    return {0, &type, {}, sizeof(ComError), &CopyComError};
}

constexpr CatchableType CaughtStandardException(const TypeDescriptor& type) {
    return {0, &type, {}, sizeof(StandardException), &CopyStandardException};
}

constinit const Class kComErrorClass{{nullptr, nullptr, {".?AV_com_error@@"}},
                                     CaughtComError(kComErrorClass.type),
                                     {&kComErrorClass.type, 0, {}, 0}};
constinit const Class kExceptionClass{{nullptr, nullptr, {".?AVexception@std@@"}},
                                      CaughtStandardException(kExceptionClass.type),
                                      {&kExceptionClass.type, 0, {}, 0}};
constinit const Class kBadAllocClass{{nullptr, nullptr, {".?AVbad_alloc@std@@"}},
                                     CaughtStandardException(kBadAllocClass.type),
                                     {&kBadAllocClass.type, 1, {}, 0}};
constinit const Class kLogicErrorClass{{nullptr, nullptr, {".?AVlogic_error@std@@"}},
                                       CaughtStandardException(kLogicErrorClass.type),
                                       {&kLogicErrorClass.type, 1, {}, 0}};
constinit const Class kOutOfRangeClass{{nullptr, nullptr, {".?AVout_of_range@std@@"}},
                                       CaughtStandardException(kOutOfRangeClass.type),
                                       {&kOutOfRangeClass.type, 2, {}, 0}};

constexpr VirtualTable kComErrorFunctions{nullptr, &DestroyComErrorOnly, nullptr};
constexpr VirtualTable kStandardFunctions{nullptr, &DestroyStandardExceptionOnly, &TextOf};

constinit const Thrown kComError({&kComErrorClass}, &DestroyComError, kComErrorFunctions);
constinit const Thrown kBadAlloc({&kBadAllocClass, &kExceptionClass}, &DestroyStandardException,
                                 kStandardFunctions);
constinit const Thrown kOutOfRange({&kOutOfRangeClass, &kLogicErrorClass, &kExceptionClass},
                                   &DestroyStandardException, kStandardFunctions);
constinit const Thrown kException({&kExceptionClass}, &DestroyStandardException,
                                  kStandardFunctions);

[[noreturn]] void Raise(const Thrown& thrown, void* object) {
    constexpr DWORD cppException = 0xE06D7363;
    constexpr ULONG_PTR formatVersion = 0x19930520;
    const std::array<ULONG_PTR, 3> arguments{formatVersion, reinterpret_cast<ULONG_PTR>(object),
                                             reinterpret_cast<ULONG_PTR>(&thrown.info)};
    ::RaiseException(cppException, EXCEPTION_NONCONTINUABLE, arguments.size(), arguments.data());
    std::abort();  // not reached: the exception cannot be continued
}

[[noreturn]] void RaiseStandardException(const Thrown& thrown, const char* text) {
    StandardException object{&thrown.table.destroy, text, false};
    Raise(thrown, &object);
}

[[noreturn]] void RaiseComError(HRESULT code) {
    ComError object{&kComError.table.destroy, code, nullptr, nullptr};
    Raise(kComError, &object);
}

}  // namespace

// The object is on the stack of this call, which stays as it is until the host has caught and
// destroyed the exception.
void RaiseInHost(HostException exception) {
    switch (exception.kind) {
        case HostException::Kind::kComError:
            RaiseComError(exception.code);
        case HostException::Kind::kBadAlloc:
            RaiseStandardException(kBadAlloc, "bad allocation");
        case HostException::Kind::kOutOfRange:
            RaiseStandardException(kOutOfRange, "out of range");
        default:
            RaiseStandardException(kException, "unknown exception");
    }
}
