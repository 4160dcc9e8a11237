#pragma once

#include <windows.h>

// How an exception leaves an export. A C++ exception does not pass from one runtime into another,
// and the host has a runtime of its own. So the library raises the exception anew, as a structured
// exception in the form that Microsoft's C++ runtime has: a host that is built with it catches a
// _com_error, a std::bad_alloc, and so on. To any other host it is a structured exception with the
// code 0xE06D7363, which ends the process if nothing handles it.

// What the host is to catch. `code` is the HRESULT of a _com_error; the other kinds have none.
struct HostException {
    enum class Kind { kComError, kBadAlloc, kOutOfRange, kException };

    Kind kind;
    HRESULT code = S_OK;
};

#ifdef _MSC_VER

// The library's runtime is the host's.
template <typename Call>
auto WithExceptionsForTheHost(Call call) {
    return call();
}

#else

// What the host is to catch for the exception that is being handled.
[[nodiscard]] HostException CurrentHostException();

// Raises the exception. Nothing of the caller is destroyed afterwards.
[[noreturn]] void RaiseInHost(HostException exception);

// Returns what `call` returns. An exception that leaves `call` is raised in the host, after
// everything that `call` held has been released, the exception itself included.
template <typename Call>
auto WithExceptionsForTheHost(Call call) {
    HostException exception{};
    try {
        return call();
    } catch (...) {
        exception = CurrentHostException();
    }
    RaiseInHost(exception);
}

#endif
