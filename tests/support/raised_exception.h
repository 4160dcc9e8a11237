#pragma once

#include <windows.h>

#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// What a host of the library gets when an exception leaves an export: the structured exception of
// Microsoft's C++ runtime.
struct RaisedException {
    static constexpr DWORD kCode = 0xE06D7363;

    // Member functions of the class, as calls without a class: the object is in the register ecx.
    using Copy = void*(__fastcall*)(void* self, int edx, const void* other);
    using Destroy = void(__fastcall*)(void* self);
    using DestroyAndDelete = void*(__fastcall*)(void* self, int edx, unsigned flags);
    using What = const char*(__fastcall*)(const void* self);

    explicit RaisedException(const EXCEPTION_RECORD& record)
        : flags(record.ExceptionFlags), argumentCount(record.NumberParameters) {
        if (argumentCount != 3) return;
        version = record.ExceptionInformation[0];
        const auto* const object = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
        const auto* const info = reinterpret_cast<const char*>(record.ExceptionInformation[2]);
        destroy = Read<Destroy>(info + 4);
        const auto* const types = Read<const char*>(info + 12);
        for (int i = 0; i < Read<int>(types); ++i) {
            const auto* const type = Read<const char*>(types + 4 + 4 * i);
            names.emplace_back(NameOf(Read<const char*>(type + 4)));
            size = Read<int>(type + 20);
            copy = Read<Copy>(type + 24);
        }
        if (names.front() == ".?AV_com_error@@") {
            hresult = Read<HRESULT>(object + 4);
        } else {
            what = Read<What>(Read<const char*>(object) + 4)(object);
        }
        virtualDestructor = Read<DestroyAndDelete>(Read<const char*>(object));
        ReadHierarchy(object);
    }

    DWORD flags;
    DWORD argumentCount;
    ULONG_PTR version = 0;
    int size = 0;                           // of the object
    std::vector<std::string> names;         // of its class and of the base classes
    std::vector<std::string> dynamicNames;  // the same, as dynamic_cast finds them
    HRESULT hresult = S_OK;                 // of a _com_error
    std::string what;                       // of a std::exception
    Copy copy = nullptr;
    Destroy destroy = nullptr;
    DestroyAndDelete virtualDestructor = nullptr;

private:
    template <typename Value>
    static Value Read(const char* place) {
        Value value;
        std::memcpy(&value, place, sizeof(value));
        return value;
    }

    static const char* NameOf(const char* type) { return type + 8; }

    // The word before the virtual functions leads to the classes of the object.
    void ReadHierarchy(const char* object) {
        const auto* const locator = Read<const char*>(Read<const char*>(object) - 4);
        const auto* const hierarchy = Read<const char*>(locator + 16);
        const auto* const classes = Read<const char*>(hierarchy + 12);
        for (int i = 0; i < Read<int>(hierarchy + 8); ++i) {
            const auto* const base = Read<const char*>(classes + 4 * i);
            dynamicNames.emplace_back(NameOf(Read<const char*>(base)));
        }
    }
};

// Makes a call on a thread of its own, which ends where the exception is raised. So nothing of the
// call that has not been released by then ever is.
class CallOnItsOwnThread {
public:
    template <typename Call>
    [[nodiscard]] static std::optional<RaisedException> RaisedBy(Call call) {
        raised_.reset();
        void* const handler = ::AddVectoredExceptionHandler(1, &EndTheThread);
        const HANDLE thread = ::CreateThread(nullptr, 0, &Run<Call>, &call, CREATE_SUSPENDED, &id_);
        ::ResumeThread(thread);
        ::WaitForSingleObject(thread, INFINITE);
        ::CloseHandle(thread);
        ::RemoveVectoredExceptionHandler(handler);
        return std::exchange(raised_, std::nullopt);
    }

private:
    template <typename Call>
    static DWORD WINAPI Run(void* call) {
        (*static_cast<Call*>(call))();
        return 0;
    }

    static LONG CALLBACK EndTheThread(EXCEPTION_POINTERS* exception) {
        const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
        if (record.ExceptionCode != RaisedException::kCode || ::GetCurrentThreadId() != id_)
            return EXCEPTION_CONTINUE_SEARCH;
        raised_.emplace(record);
        ::ExitThread(0);
        return EXCEPTION_CONTINUE_EXECUTION;  // not reached
    }

    static inline DWORD id_ = 0;
    static inline std::optional<RaisedException> raised_;
};
