#pragma once

#include <windows.h>

// The structured exceptions as which C++ exceptions leave the exports. Their form is that of
// Microsoft's compilers: three parameters, which are a number, the object and a description of its
// type. See Microsoft's documentation of RaiseException for the record as a whole.

inline constexpr DWORD kThrownCode = 0xE06D7363;
inline constexpr ULONG_PTR kThrownVersion = 0x19930520;

// A destructor. Microsoft's compilers pass the object in the register ecx, and nothing on the
// stack. So does the calling convention __fastcall for a function with one parameter.
using ThrownDestructor = void(__fastcall*)(void* object);

// What the description of a type says: how its objects are destroyed, and which types can catch
// them.
struct ThrownType {
    DWORD attributes;
    ThrownDestructor destroy;
    const void* unused;
    const void* catchableTypes;
};

// Sees each such exception while this object lives, when it is raised and before anything handles
// it. Only one such object may live at a time.
class ThrownExceptions {
public:
    ThrownExceptions() : handler_(::AddVectoredExceptionHandler(1, &See)) {
        raised = 0;
        destroyed = 0;
        wellFormed = true;
    }
    ThrownExceptions(const ThrownExceptions&) = delete;
    ThrownExceptions& operator=(const ThrownExceptions&) = delete;
    ~ThrownExceptions() { (void)::RemoveVectoredExceptionHandler(handler_); }

    static inline long raised = 0;
    // How often the object of the latest exception was destroyed.
    static inline long destroyed = 0;
    // Whether all of them had the form above, could not be continued and had a destructor.
    static inline bool wellFormed = true;
    static inline void* object = nullptr;
    // Called for each exception when it is raised.
    static inline void (*onRaise)() = nullptr;

    // The HRESULT of a _com_error. It follows the pointer to the table of virtual functions.
    [[nodiscard]] static HRESULT Result() { return static_cast<const HRESULT*>(object)[1]; }

private:
    static LONG CALLBACK See(EXCEPTION_POINTERS* exception) {
        EXCEPTION_RECORD& record = *exception->ExceptionRecord;
        if (record.ExceptionCode != kThrownCode) return EXCEPTION_CONTINUE_SEARCH;
        const bool isThrownAgain =
            record.NumberParameters == 3 && record.ExceptionInformation[2] == 0;
        if (isThrownAgain) return EXCEPTION_CONTINUE_SEARCH;
        ++raised;
        destroyed = 0;
        const bool hasForm = record.NumberParameters == 3 &&
                             record.ExceptionInformation[0] == kThrownVersion &&
                             record.ExceptionFlags == EXCEPTION_NONCONTINUABLE;
        wellFormed = wellFormed && hasForm;
        if (!hasForm) return EXCEPTION_CONTINUE_SEARCH;
        CountDestruction(record);
        wellFormed = wellFormed && destroy_ != nullptr;
        if (onRaise != nullptr) onRaise();
        return EXCEPTION_CONTINUE_SEARCH;
    }

    // Replaces the description by a copy whose destructor counts and then calls the real one.
    static void CountDestruction(EXCEPTION_RECORD& record) {
        object = reinterpret_cast<void*>(record.ExceptionInformation[1]);
        type_ = *reinterpret_cast<const ThrownType*>(record.ExceptionInformation[2]);
        destroy_ = type_.destroy;
        type_.destroy = &Destroy;
        record.ExceptionInformation[2] = reinterpret_cast<ULONG_PTR>(&type_);
    }

    static void __fastcall Destroy(void* thrown) {
        if (thrown == object) ++destroyed;
        if (destroy_ != nullptr) destroy_(thrown);
    }

    static inline ThrownType type_ = {};
    static inline ThrownDestructor destroy_ = nullptr;
    void* handler_;
};
