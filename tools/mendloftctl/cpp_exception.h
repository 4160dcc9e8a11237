#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <string>

// C++ exceptions in the form in which programs of the Microsoft ABI raise them: as an exception of
// Windows, whose parameters lead to the object that was thrown and to the names of its types.

namespace ctl {

// What could be read of a C++ exception. It has a fixed size, so that one process can pass it on to
// another, and so that it can be read when there is no memory left.
struct CppException {
    using Text = std::array<char, 256>;

    Text type{};  // as the compiler decorates it, such as ".?AV_com_error@@"; or empty
    bool hasResult = false;
    std::int32_t result = 0;  // the HRESULT of a _com_error
    Text message{};           // what() of a std::out_of_range; or empty
};

// The code of all C++ exceptions.
inline constexpr DWORD kCppExceptionCode = 0xE06D7363;

// Reads the C++ exception that `record` of that process describes. The process may be damaged: a
// part that cannot be read, or that is not what it should be, stays empty.
[[nodiscard]] CppException ReadCppException(HANDLE process, const EXCEPTION_RECORD& record);

// The type as it is written in C++, such as "std::bad_alloc"; as the compiler decorates it when it
// is not a plain class; empty when it could not be read.
[[nodiscard]] std::string TypeName(const CppException& exception);

}  // namespace ctl
