#include <windows.h>

#include <mendloft/mendloft.h>

#include "hosts/holdings.h"
#include "hosts/library.h"
#include "hosts/library_patches.h"
#include "hosts/microsoft_classes.h"
#include "hosts/report.h"
#include "hosts/setting.h"
#include "hosts/thrown.h"

// A host for Microsoft's C++ ABI that catches what leaves the exports. It is linked with the
// import library for Visual Studio.

namespace {

constexpr int kRepair = 1;
constexpr PROPID kPath = 3;
constexpr PROPID kAttributes = 9;
constexpr PROPID kSize = 7;
constexpr UINT kItem = 3;  // files before it have been unpacked by then

HMODULE LinkedLibrary() {
    return ::GetModuleHandleW(L"libmendloft.dll");
}

// Notes that it was destroyed, as the objects in a host's own functions are when an exception
// passes through them.
class Local {
public:
    explicit Local(int& destroyed) : destroyed_(destroyed) {}
    Local(const Local&) = delete;
    Local& operator=(const Local&) = delete;
    ~Local() { ++destroyed_; }

private:
    int& destroyed_;
};

int g_localsDestroyed = 0;

// A function of the host between the export and the handler.
void Repair() {
    const Local local(g_localsDestroyed);
    (void)MendloftFolder(kRepair);
}

void SetUpKis() {
    const Local local(g_localsDestroyed);
    (void)SetUpKisDriver(kRepair);
}

// Whether a file is open nowhere.
bool IsClosed(const Path& file) {
    const HANDLE handle = ::CreateFileW(file.text, GENERIC_READ, /*share=*/0, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    (void)::CloseHandle(handle);
    return true;
}

Path g_stagedArchive;
bool g_wasReleased = false;

// Whether everything is released when an exception is raised, not only after it was caught.
void NoteWhetherReleased() {
    g_wasReleased = IsClosed(g_stagedArchive);
}

// Expects that exactly one exception was raised, in the right form, and that its object was
// destroyed once, after its handler.
void ExpectOneException(long destroyedInHandler) {
    ExpectEqual(1, ThrownExceptions::raised, "one exception is raised");
    Expect(ThrownExceptions::wellFormed, "it has Microsoft's form");
    ExpectEqual(0, destroyedInHandler, "its object lives while it is handled");
    ExpectEqual(1, ThrownExceptions::destroyed, "its object is destroyed once");
    Expect(g_wasReleased, "the library has released what it held before");
    ExpectEqual(1, g_localsDestroyed, "the host's own objects are destroyed");
}

// Prepares for one exception.
void Prepare(const Setting& setting, const char* what) {
    Begin(what);
    setting.Clear();
    g_localsDestroyed = 0;
    g_wasReleased = false;
}

template <typename Call>
void ExpectComError(const Setting& setting, const char* what, HRESULT expected, Call call) {
    Prepare(setting, what);
    const ThrownExceptions thrown;
    HRESULT result = S_OK;
    long destroyedInHandler = -1;
    try {
        call();
    } catch (const std::exception&) {
        Expect(false, "it is not a standard exception");
    } catch (const _com_error& error) {
        result = error.Error();
        Expect(error.ErrorInfo() == nullptr, "there is no error information");
        destroyedInHandler = ThrownExceptions::destroyed;
    }
    ExpectEqual(expected, result, "the HRESULT is the right one");
    ExpectOneException(destroyedInHandler);
}

void ComErrorsAreCaughtByType(const Setting& setting) {
    const HMODULE library = LinkedLibrary();
    {
        const UnreadableProperty size(library, kItem, kSize,
                                      UnreadableProperty::WithResult{STG_E_READFAULT});
        Expect(size.Works(), "the 7z handler is found");
        ExpectComError(setting, "a size that cannot be read", STG_E_READFAULT, &Repair);
        ExpectComError(setting, "the same in a setup", STG_E_READFAULT, &SetUpKis);
    }
    {
        const UnreadableProperty attributes(library, kItem, kAttributes,
                                            UnreadableProperty::WithType{VT_R8});
        ExpectComError(setting, "attributes that are a fraction", E_FAIL, &Repair);
    }
    {
        const UnreadableProperty path(library, kItem, kPath,
                                      UnreadableProperty::WithResult{E_ACCESSDENIED});
        ExpectComError(setting, "a path that cannot be read", E_ACCESSDENIED, &Repair);
    }
    {
        const NoMemoryForStrings noStrings(library);
        Expect(noStrings.Works(), "the library asks OLE for strings");
        ExpectComError(setting, "no memory for a path", E_OUTOFMEMORY, &Repair);
    }
}

void AnythingIsCaught(const Setting& setting) {
    Prepare(setting, "an exception of any type");
    const UnreadableProperty path(LinkedLibrary(), kItem, kPath,
                                  UnreadableProperty::WithResult{STG_E_READFAULT});
    const ThrownExceptions thrown;
    long destroyedInHandler = -1;
    try {
        Repair();
    } catch (...) {
        destroyedInHandler = ThrownExceptions::destroyed;
    }
    ExpectOneException(destroyedInHandler);
}

const wchar_t* g_message = nullptr;

// Asks for the text of an exception, which the exception then keeps, and throws it again.
void RepairAndThrowAgain() {
    try {
        Repair();
    } catch (const _com_error& error) {
        g_message = error.ErrorMessage();
        throw;
    }
}

void AnExceptionIsThrownAgain(const Setting& setting) {
    Prepare(setting, "an exception that its handler throws again");
    const UnreadableProperty path(LinkedLibrary(), kItem, kPath,
                                  UnreadableProperty::WithResult{E_ACCESSDENIED});
    const ThrownExceptions thrown;
    HRESULT result = S_OK;
    long destroyedInHandler = -1;
    try {
        RepairAndThrowAgain();
    } catch (const _com_error& error) {
        result = error.Error();
        Expect(error.ErrorMessage() == g_message, "it is the same object");
        destroyedInHandler = ThrownExceptions::destroyed;
    }
    ExpectEqual(E_ACCESSDENIED, result, "the HRESULT is the right one");
    ExpectOneException(destroyedInHandler);
}

// The copy is made by the library, which has described how, and destroyed by the host.
void ACopyIsCaught(const Setting& setting) {
    Prepare(setting, "a copy of an exception");
    const UnreadableProperty path(LinkedLibrary(), kItem, kPath,
                                  UnreadableProperty::WithResult{E_ACCESSDENIED});
    const ThrownExceptions thrown;
    long destroyedInHandler = -1;
    try {
        RepairAndThrowAgain();
        // cppcheck-suppress catchExceptionByValue
    } catch (_com_error copy) {  // NOLINT(misc-throw-by-value-catch-by-reference)
        ExpectEqual(E_ACCESSDENIED, copy.Error(), "the copy has the HRESULT");
        Expect(&copy != ThrownExceptions::object, "it is another object");
        Expect(copy.ErrorMessage() != nullptr, "it has a text");
        Expect(copy.ErrorMessage() != g_message, "the text is its own");
        destroyedInHandler = ThrownExceptions::destroyed;
    }
    ExpectOneException(destroyedInHandler);
}

template <typename Type>
void ExpectNoMemory(const Setting& setting, const char* what, FailingAllocation::Extent extent) {
    Prepare(setting, what);
    const ThrownExceptions thrown;
    long destroyedInHandler = -1;
    {
        const FailingAllocation failing(LinkedLibrary(), 1, extent);
        try {
            Repair();
        } catch (const _com_error&) {
            Expect(false, "it is not a _com_error");
        } catch (const Type& error) {
            Expect(error.what()[0] != '\0', "it has a text");
            const std::exception* const base = &error;
            Expect(dynamic_cast<const std::bad_alloc*>(base) != nullptr, "it is a bad_alloc");
            Expect(dynamic_cast<const std::logic_error*>(base) == nullptr, "and nothing else");
            destroyedInHandler = ThrownExceptions::destroyed;
        }
        Expect(failing.Happened(), "the allocation has failed");
    }
    g_wasReleased = true;  // nothing was held yet
    ExpectOneException(destroyedInHandler);
}

void ExceptionsLeaveNothing() {
    Begin("500 exceptions");
    constexpr long throws = 500;
    const UnreadableProperty path(LinkedLibrary(), 0, kPath,
                                  UnreadableProperty::WithResult{E_ACCESSDENIED});
    const auto throwOnce = [] {
        try {
            Repair();
        } catch (const _com_error& error) {
            return error.Error() == E_ACCESSDENIED && error.ErrorMessage() != nullptr;
        }
        return false;
    };
    for (int i = 0; i < 50; ++i) Expect(throwOnce(), "the exception is caught");
    (void)Holdings::Now();
    const Holdings before = Holdings::Now();

    for (int i = 0; i < throws; ++i) Expect(throwOnce(), "the exception is caught again");

    ExpectNothingLeft(before, Holdings::Now(), throws);
}

void TheLibraryStillWorks(const Setting& setting) {
    Begin("a repair after all that");
    setting.Clear();

    ExpectEqual(kMendloftFoldersBuilt, MendloftFolder(kRepair), "the folders are built");
    Expect(Setting::StoreIsFilled(), "the driver store has a folder of the USB driver");
}

}  // namespace

int main(int, char**) {
    if (!IsWine()) {
        Say("This host rebuilds the driver store, so it runs under Wine only. Skipped.");
        return 0;
    }
    const Setting setting;
    g_stagedArchive = setting.StagedArchive();
    ThrownExceptions::onRaise = &NoteWhetherReleased;
    TheLibraryStillWorks(setting);
    ComErrorsAreCaughtByType(setting);
    AnythingIsCaught(setting);
    AnExceptionIsThrownAgain(setting);
    ACopyIsCaught(setting);
    TheLibraryStillWorks(setting);
    ExpectNoMemory<std::bad_alloc>(setting, "no memory for the call", FailingAllocation::kOne);
    ExpectNoMemory<std::exception>(setting, "the same as any standard exception",
                                   FailingAllocation::kOne);
    ExpectNoMemory<std::bad_alloc>(setting, "no memory at all", FailingAllocation::kAllAfter);
    TheLibraryStillWorks(setting);
    ExceptionsLeaveNothing();
    TheLibraryStillWorks(setting);
    return Verdict();
}
