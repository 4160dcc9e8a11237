#include "hosts/sockets.h"

#include "hosts/holdings.h"
#include "hosts/library.h"
#include "hosts/library_patches.h"
#include "hosts/report.h"
#include "hosts/setting.h"

// A host that calls the library, has exceptions thrown and caught inside it, and loads it again and
// again. Built with several compilers and runtimes. It throws exceptions of its own in between.
//
//   host [shared] [neighbour]
//
// shared: the host has the compiler's runtime in DLLs, which are expected in the process.
// neighbour: there is a second library in the process, neighbour.dll, with a runtime of its own.

namespace {

constexpr int kRepair = 1;

void CallSucceeds(const Setting& setting) {
    Begin("a repair of the folders");
    const Library library(BuiltLibrary());
    setting.Clear();

    ExpectEqual(kMendloftFoldersBuilt, library.Call("MendloftFolder", kRepair),
                "the folders are built");
    Expect(Setting::StoreIsFilled(), "the driver store has a folder of the USB driver");
}

void PortsAreTested() {
    Begin("port tests");
    const Library library(BuiltLibrary());
    const LoopbackPort open(true);
    const LoopbackPort closed(false);

    Expect(library.PortTest(open.Number()), "the open port is found open");
    open.Accept();
    Expect(!library.PortTest(closed.Number()), "the closed port is found closed");
}

struct OwnException {
    int number;
};

[[noreturn]] void Throw(int number) {
    throw OwnException{number};
}

void ThrowInTheHost() {
    int caught = 0;
    try {
        Throw(7);
    } catch (const OwnException& exception) {
        caught = exception.number;
    }
    ExpectEqual(7, caught, "the host catches what it throws");
}

void ExceptionsStayInside(const Setting& setting) {
    Begin("a damaged driver archive, for which 7-Zip throws and catches an exception");
    const Path damaged = setting.File(L"damaged.dll");
    if (!Expect(WriteDamagedLibrary(damaged), "a copy of the library can be damaged")) return;
    const Library library(damaged);
    setting.Clear();

    ExpectEqual(kMendloftFoldersFailed, library.Call("MendloftFolder", kRepair),
                "the archive is refused");
    Expect(!Setting::StoreIsFilled(), "the driver store is not touched");
    ThrowInTheHost();
    ExpectEqual(kMendloftFoldersFailed, library.Call("MendloftFolder", kRepair),
                "and refused again");
}

// A port test that runs out of memory throws an exception, catches it, and finds the port closed.
void ThrowInside(const Library& library, int openPort) {
    const FailingAllocation failing(library.Module(), 2);
    Expect(!library.PortTest(openPort), "a port test without memory finds nothing");
    Expect(failing.Works() && failing.Happened(), "an allocation has failed");
}

// neighbour.dll, loaded while this object lives. It throws exceptions and catches them itself.
class Neighbour {
public:
    Neighbour() : module_(::LoadLibraryW(BesideTheProgram(L"neighbour.dll").text)) {
        throwInside_ = reinterpret_cast<Function>(
            reinterpret_cast<void*>(::GetProcAddress(module_, "ThrowInside")));
    }
    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;
    ~Neighbour() { (void)::FreeLibrary(module_); }

    void Throw() const { ExpectEqual(7, throwInside_(7), "the neighbour catches what it throws"); }

private:
    using Function = int(__cdecl*)(int);

    HMODULE module_;
    Function throwInside_;
};

void Alternate(const Library& library, const Neighbour& neighbour, int openPort) {
    for (int i = 0; i < 10; ++i) {
        ThrowInside(library, openPort);
        neighbour.Throw();
    }
}

// The four orders of loading and unloading two libraries.
void NeighboursGetAlong() {
    Begin("exceptions inside two libraries alternately");
    const LoopbackPort open(true);
    {
        const Neighbour neighbour;
        const Library library(BuiltLibrary());
        Alternate(library, neighbour, open.Number());
    }
    {
        const Library library(BuiltLibrary());
        const Neighbour neighbour;
        Alternate(library, neighbour, open.Number());
    }
    {
        const Library library(BuiltLibrary());
        {
            const Neighbour neighbour;
            Alternate(library, neighbour, open.Number());
        }
        ThrowInside(library, open.Number());
    }
    {
        const Neighbour neighbour;
        {
            const Library library(BuiltLibrary());
            Alternate(library, neighbour, open.Number());
        }
        neighbour.Throw();
    }
}

void NoMemoryIsSurvived() {
    Begin("port tests for which memory runs out");
    const Library library(BuiltLibrary());
    const LoopbackPort open(true);
    constexpr int beforeConnecting = 3;  // the helper, the endpoint and the client
    for (int first = 1; first <= beforeConnecting; ++first) {
        const FailingAllocation failing(library.Module(), first, FailingAllocation::kAllAfter);
        Expect(!library.PortTest(open.Number()), "a port test without memory finds nothing");
        Expect(failing.Happened(), "memory has run out");
    }
    Expect(library.PortTest(open.Number()), "the open port is found open with memory");
}

// Loads the library, throws inside it and unloads it. Returns whether it could be loaded.
bool LoadAndThrow(int number, int openPort) {
    const Library library(BuiltLibrary());
    if (library.Module() == nullptr) {
        Say("        load %d ends with error %lu", number, ::GetLastError());
        return Expect(false, "the library can be loaded once more");
    }
    ThrowInside(library, openPort);
    ThrowInTheHost();
    return true;
}

void LoadsLeaveNothing() {
    constexpr int loads = 1100;  // a process has 1,088 thread-local slots
    Begin("1100 times to load the library, use it and unload it");
    const LoopbackPort open(true);
    for (int i = 0; i < 50; ++i) (void)LoadAndThrow(i, open.Number());
    (void)Holdings::Now();
    const Holdings before = Holdings::Now();

    for (int i = 0; i < loads && LoadAndThrow(i, open.Number()); ++i) {
    }

    ExpectNothingLeft(before, Holdings::Now(), 0);
    Expect(::GetModuleHandleW(L"libmendloft.dll") == nullptr, "the library is unloaded");
}

// Whether the process has the compiler's runtime in DLLs. The host is not the one that it should be
// when this is not as expected.
void RuntimeIs(bool shared) {
    Begin(shared ? "a host with shared runtimes" : "a host without shared runtimes");
    constexpr const wchar_t* names[] = {L"libgcc_s_dw2-1.dll", L"libstdc++-6.dll"};
    for (const wchar_t* name : names) {
        Expect((::GetModuleHandleW(name) != nullptr) == shared, "the runtime is the expected one");
    }
}

bool CanBeLoaded(const Path& library) {
    return Expect(Library(library).Module() != nullptr, "the library can be loaded");
}

bool Contains(int count, char** arguments, const char* wanted) {
    for (int i = 1; i < count; ++i) {
        if (::lstrcmpA(arguments[i], wanted) == 0) return true;
    }
    return false;
}

}  // namespace

int main(int count, char** arguments) {
    if (!IsWine()) {
        Say("This host rebuilds the driver store, so it runs under Wine only. Skipped.");
        return 0;
    }
    const Setting setting;
    const bool withNeighbour = Contains(count, arguments, "neighbour");
    RuntimeIs(Contains(count, arguments, "shared"));
    if (!CanBeLoaded(BuiltLibrary())) return Verdict();
    if (withNeighbour && !CanBeLoaded(BesideTheProgram(L"neighbour.dll"))) return Verdict();
    if (withNeighbour) NeighboursGetAlong();
    CallSucceeds(setting);
    PortsAreTested();
    ExceptionsStayInside(setting);
    NoMemoryIsSurvived();
    if (withNeighbour) {
        const Neighbour stays;
        LoadsLeaveNothing();
        stays.Throw();
    } else {
        LoadsLeaveNothing();
    }
    return Verdict();
}
