#include "mendloftctl/cpp_exception.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>

#include "mendloftctl/process_memory.h"

namespace ctl {

namespace {

// The structures that the parameters lead to, in a 32-bit process. Each member is an address there,
// unless its name says otherwise.
struct ThrowInfo {
    std::uint32_t attributesValue;
    std::uint32_t destructor;
    std::uint32_t forwardCompatibility;
    std::uint32_t types;
};
struct CatchableTypes {
    std::int32_t countValue;
    std::uint32_t first;  // the type of the object itself; its base classes follow
};
struct CatchableType {
    std::uint32_t propertiesValue;
    std::uint32_t descriptor;
};
struct TypeDescriptor {
    std::uint32_t functions;
    std::uint32_t spare;
    CppException::Text nameValue;
};

// The objects. After _com_error's result follow an error object and a text. A class of the standard
// library has its message in the same place.
struct ComError {
    std::uint32_t functions;
    std::int32_t resultValue;
};
struct StandardException {
    std::uint32_t functions;
    std::uint32_t message;
};

// The first parameter is the number of the format; the object and its ThrowInfo follow.
constexpr DWORD kParameters = 3;
constexpr ULONG_PTR kOldestFormat = 0x19930520;
constexpr ULONG_PTR kNewestFormat = 0x19930522;

template <typename T>
bool Read(HANDLE process, std::uintptr_t address, T& value) {
    return ReadMemory(process, address, std::as_writable_bytes(std::span(&value, 1))) == sizeof(T);
}

bool IsPrintable(char c) {
    return c >= ' ' && c <= '~';
}

// The length of a text whose terminator was read, too; 0 for any other, and for one that holds more
// than printable ASCII, which no name or message here does.
std::size_t CheckedLength(const CppException::Text& text) {
    const auto end = std::find(text.begin(), text.end(), '\0');
    const bool isGood = end != text.end() && std::all_of(text.begin(), end, IsPrintable);
    return isGood ? static_cast<std::size_t>(end - text.begin()) : 0;
}

CppException::Text ReadText(HANDLE process, std::uintptr_t address) {
    CppException::Text text;
    text.fill('?');  // what is not read is no terminator
    (void)ReadMemory(process, address, std::as_writable_bytes(std::span(text)));
    return CheckedLength(text) > 0 ? text : CppException::Text{};
}

// The name of the type of the object. Every decorated name begins with a dot.
CppException::Text ReadType(HANDLE process, std::uintptr_t throwInfo) {
    ThrowInfo info{};
    CatchableTypes types{};
    CatchableType type{};
    if (!Read(process, throwInfo, info) || !Read(process, info.types, types) ||
        types.countValue < 1 || !Read(process, types.first, type)) {
        return {};
    }
    const CppException::Text name =
        ReadText(process, type.descriptor + offsetof(TypeDescriptor, nameValue));
    return name[0] == '.' ? name : CppException::Text{};
}

bool IsType(const CppException& exception, std::string_view name) {
    return exception.type.data() == name;
}

void ReadObject(HANDLE process, std::uintptr_t address, CppException& exception) {
    if (IsType(exception, ".?AV_com_error@@")) {
        ComError object{};
        exception.hasResult = Read(process, address, object);
        if (exception.hasResult) exception.result = object.resultValue;
    } else if (IsType(exception, ".?AVout_of_range@std@@")) {
        StandardException object{};
        if (Read(process, address, object)) exception.message = ReadText(process, object.message);
    }
}

}  // namespace

CppException ReadCppException(HANDLE process, const EXCEPTION_RECORD& record) {
    CppException exception;
    if (record.ExceptionCode != kCppExceptionCode || record.NumberParameters != kParameters) {
        return exception;
    }
    const ULONG_PTR format = record.ExceptionInformation[0];
    if (format < kOldestFormat || format > kNewestFormat) return exception;
    exception.type = ReadType(process, record.ExceptionInformation[2]);
    ReadObject(process, record.ExceptionInformation[1], exception);
    return exception;
}

// The decorated name of a class or a struct lists its scopes from the inside out, each with an "@"
// after it: ".?AVout_of_range@std@@". A template's name is written in another way.
std::string TypeName(const CppException& exception) {
    const std::string_view decorated = exception.type.data();
    const bool isClass = decorated.starts_with(".?AV") || decorated.starts_with(".?AU");
    if (!isClass || !decorated.ends_with("@@") ||
        decorated.find_first_of("?$", 4) != std::string_view::npos) {
        return std::string(decorated);
    }
    std::string name;
    std::string_view scopes = decorated.substr(4, decorated.size() - 5);
    for (; !scopes.empty(); scopes.remove_prefix(scopes.find('@') + 1)) {
        const std::string scope(scopes.substr(0, scopes.find('@')));
        name = name.empty() ? scope : scope + "::" + name;
    }
    return name;
}

}  // namespace ctl
