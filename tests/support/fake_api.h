#pragma once

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>

#include "support/import_patch.h"

// A function name as a template argument.
template <std::size_t Size>
struct FunctionName {
    char text[Size];
    consteval FunctionName(const char (&literal)[Size]) { std::copy_n(literal, Size, text); }
};

// A stand-in for one system call, as a lambda:
//
//     FakeApi<"DeleteFileW", decltype(::DeleteFileW)> fake([](const wchar_t*) { return FALSE; });
//
// It catches the calls of the test program itself, or of the module given after the lambda, until
// its scope ends. `Real` calls the system's own function, or the fake that was there before. The
// lambda may be called on any thread.
//
// Compilers treat an import as a constant and may load it once for a whole function. So the body of
// a test must not call the faked function both during the fake's life and before or after it.
template <FunctionName Name, typename Function>
class FakeApi;

template <FunctionName Name, typename Result, typename... Arguments>
class FakeApi<Name, Result WINAPI(Arguments...)> {
public:
    using Behaviour = std::function<Result(Arguments...)>;

    explicit FakeApi(Behaviour behaviour, HMODULE module = ::GetModuleHandleW(nullptr))
        : previous_(std::exchange(behaviour_, std::move(behaviour))),
          patch_(module, Name.text, reinterpret_cast<void*>(&Call)) {}
    FakeApi(const FakeApi&) = delete;
    FakeApi& operator=(const FakeApi&) = delete;
    ~FakeApi() {
        patch_.Restore();
        behaviour_ = std::move(previous_);
    }

    Result Real(Arguments... arguments) const {
        if (previous_) return previous_(arguments...);
        return reinterpret_cast<Result(WINAPI*)(Arguments...)>(patch_.Original())(arguments...);
    }

private:
    static Result WINAPI Call(Arguments... arguments) { return behaviour_(arguments...); }

    static inline Behaviour behaviour_;
    Behaviour previous_;
    ImportPatch patch_;
};
