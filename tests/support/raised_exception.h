#pragma once

#include <windows.h>

#include <cstring>
#include <optional>
#include <string>
#include <utility>

// What a host of the library gets when an exception leaves an export: the structured exception of
// Microsoft's C++ runtime.
struct RaisedException {
    static constexpr DWORD kCode = 0xE06D7363;

    explicit RaisedException(const EXCEPTION_RECORD& record)
        : flags(record.ExceptionFlags), argumentCount(record.NumberParameters) {
        if (argumentCount != 3) return;
        version = record.ExceptionInformation[0];
        object = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
        // The types start at the fourth word, a count; then the first type with its name.
        const auto* const types = *At<const char* const*>(record.ExceptionInformation[2], 12);
        typeCount = *At<const int*>(types, 0);
        const auto* const type = *At<const char* const*>(types, 4);
        size = *At<const int*>(type, 20);
        name = *At<const char* const*>(type, 4) + 8;
        std::memcpy(&hresult, object + 4, sizeof(hresult));
    }

    DWORD flags;
    DWORD argumentCount;
    ULONG_PTR version = 0;
    const char* object = nullptr;  // valid while the exception is handled only
    int typeCount = 0;
    int size = 0;            // of the object
    std::string name;        // of its class
    HRESULT hresult = S_OK;  // of a _com_error

private:
    template <typename Pointer, typename Address>
    static Pointer At(Address address, int offset) {
        return reinterpret_cast<Pointer>(reinterpret_cast<const char*>(address) + offset);
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
