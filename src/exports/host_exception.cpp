#include "exports/host_exception.h"

#include <comdef.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <stdexcept>

#include "exports/microsoft_records.h"

// For mingw-w64 only. The classes of Microsoft's runtime that the library throws, with the layout
// that they have in a 32-bit process.

namespace {

using microsoft::Class;
using microsoft::Thrown;
using microsoft::TypeDescriptor;
using microsoft::VirtualTable;

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

// `self` is where the result is stored; its parts refer to one another.
constexpr Class DescribeStandardException(const Class& self, TypeDescriptor type,
                                          std::uint32_t baseCount) {
    return {type,
            {0, &self.type, {}, sizeof(StandardException), &CopyStandardException},
            {&self.type, baseCount, {}, 0}};
}

constinit const Class kComErrorClass{{nullptr, nullptr, {".?AV_com_error@@"}},
                                     {0, &kComErrorClass.type, {}, sizeof(ComError), &CopyComError},
                                     {&kComErrorClass.type, 0, {}, 0}};
constinit const Class kExceptionClass =
    DescribeStandardException(kExceptionClass, {nullptr, nullptr, {".?AVexception@std@@"}}, 0);
constinit const Class kBadAllocClass =
    DescribeStandardException(kBadAllocClass, {nullptr, nullptr, {".?AVbad_alloc@std@@"}}, 1);
constinit const Class kLogicErrorClass =
    DescribeStandardException(kLogicErrorClass, {nullptr, nullptr, {".?AVlogic_error@std@@"}}, 1);
constinit const Class kOutOfRangeClass =
    DescribeStandardException(kOutOfRangeClass, {nullptr, nullptr, {".?AVout_of_range@std@@"}}, 2);

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

HostException CurrentHostException() {
    try {
        throw;
    } catch (const _com_error& error) {
        return {HostException::Kind::kComError, error.Error()};
    } catch (const std::bad_alloc&) {
        return {HostException::Kind::kBadAlloc};
    } catch (const std::out_of_range&) {
        return {HostException::Kind::kOutOfRange};
    } catch (...) {
        return {HostException::Kind::kException};
    }
}

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
