#pragma once

#include <windows.h>

#include <atomic>
#include <cerrno>
#include <string_view>

#include "support/fake_api.h"

// When the stand-in for one imported function fails. It counts its calls on all threads.
struct CallPlan {
    bool allocates = false;
    std::atomic<unsigned> calls = 0;
    std::atomic<unsigned> failing = 0;  // which call fails, counted from 1; 0: none
    bool andAllLater = false;           // calls, of each function that allocates

    void Fail(unsigned which, bool andAllLaterAllocations) {
        failing = which;
        andAllLater = andAllLaterAllocations;
        calls = 0;
        memoryIsGone_ = false;
    }
    [[nodiscard]] bool IsItsTurn() {
        const bool isItsTurn = ++calls == failing;
        if (isItsTurn && andAllLater) memoryIsGone_ = true;
        return isItsTurn || (allocates && memoryIsGone_);
    }
    [[nodiscard]] bool Happened() const { return failing != 0 && calls >= failing; }

private:
    static inline std::atomic<bool> memoryIsGone_ = false;
};

// What a failing call does besides returning its error.
enum class Failing {
    kInstead,  // nothing
    kAfter,    // its work: a function that releases something would otherwise leak it
};

// How a function fails.
template <typename Result>
struct Failure {
    Result value{};
    DWORD lastError = ERROR_SUCCESS;
    Failing manner = Failing::kInstead;

    template <typename Function, typename... Arguments>
    Result Happen(Function real, Arguments... arguments) const {
        if (manner == Failing::kAfter) (void)real(arguments...);
        errno = ENOMEM;
        ::SetLastError(lastError);
        return value;
    }
};

// A stand-in for an imported function of the type `Function`, with the calling convention of that
// type. It calls the function, except in the one call that fails.
template <FunctionName Name, typename Function>
struct FailingCall;

template <FunctionName Name, typename Result, typename... Arguments>
struct FailingCall<Name, Result WINAPI(Arguments...)> {
    static Result WINAPI Call(Arguments... arguments) {
        const auto real = reinterpret_cast<Result(WINAPI*)(Arguments...)>(original);
        if (plan.IsItsTurn()) return failure.Happen(real, arguments...);
        return real(arguments...);
    }

    static inline Failure<Result> failure;
    static inline CallPlan plan;
    static inline void* original = nullptr;
};

template <FunctionName Name, typename Result, typename... Arguments>
struct FailingCall<Name, Result __cdecl(Arguments...)> {
    static Result __cdecl Call(Arguments... arguments) {
        const auto real = reinterpret_cast<Result(__cdecl*)(Arguments...)>(original);
        if (plan.IsItsTurn()) return failure.Happen(real, arguments...);
        return real(arguments...);
    }

    static inline Failure<Result> failure;
    static inline CallPlan plan;
    static inline void* original = nullptr;
};
