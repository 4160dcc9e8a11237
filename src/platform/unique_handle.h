#pragma once

#include <windows.h>

#include <utility>

// Owns one system resource and releases it when it goes out of scope.
//
// `Traits` describes the resource: `Value` is its type, `Empty()` the value for "none", and
// `Close(value)` releases it. Releasing does not change GetLastError(), because callers often turn
// that into their result after the owner is destroyed.
template <typename Traits>
class Unique {
public:
    using Value = typename Traits::Value;

    Unique() noexcept = default;
    explicit Unique(Value value) noexcept : value_(value) {}
    Unique(Unique&& other) noexcept : value_(other.Detach()) {}
    Unique& operator=(Unique&& other) noexcept {
        if (this != &other) Reset(other.Detach());
        return *this;
    }
    ~Unique() { Reset(); }

    [[nodiscard]] Value Get() const noexcept { return value_; }
    explicit operator bool() const noexcept { return value_ != Traits::Empty(); }

    // Gives up ownership and returns the value.
    [[nodiscard]] Value Detach() noexcept { return std::exchange(value_, Traits::Empty()); }

    void Reset(Value value = Traits::Empty()) noexcept {
        const Value old = std::exchange(value_, value);
        if (old == Traits::Empty()) return;
        const DWORD error = ::GetLastError();
        Traits::Close(old);
        ::SetLastError(error);
    }

    // Where a function that returns the resource through a pointer is to store it. Releases the
    // resource that was owned before.
    [[nodiscard]] Value* Receive() noexcept {
        Reset();
        return &value_;
    }

private:
    Value value_ = Traits::Empty();
};

// Handles for CloseHandle whose "none" is null: processes, threads, tokens.
struct KernelHandleTraits {
    using Value = HANDLE;
    static Value Empty() noexcept { return nullptr; }
    static void Close(Value value) noexcept { ::CloseHandle(value); }
};
using UniqueHandle = Unique<KernelHandleTraits>;

// Handles for CloseHandle whose "none" is INVALID_HANDLE_VALUE: files and Toolhelp snapshots.
struct FileHandleTraits {
    using Value = HANDLE;
    static Value Empty() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Value value) noexcept { ::CloseHandle(value); }
};
using UniqueFile = Unique<FileHandleTraits>;

struct FindHandleTraits {
    using Value = HANDLE;
    static Value Empty() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Value value) noexcept { ::FindClose(value); }
};
using UniqueFind = Unique<FindHandleTraits>;

struct SidTraits {
    using Value = PSID;
    static Value Empty() noexcept { return nullptr; }
    static void Close(Value value) noexcept { ::FreeSid(value); }
};
using UniqueSid = Unique<SidTraits>;

// Memory for LocalFree, allocated by a system call.
template <typename T>
struct LocalMemoryTraits {
    using Value = T*;
    static Value Empty() noexcept { return nullptr; }
    static void Close(Value value) noexcept { ::LocalFree(value); }
};
template <typename T>
using UniqueLocal = Unique<LocalMemoryTraits<T>>;
