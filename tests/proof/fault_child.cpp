#include <winsock.h>
#include <windows.h>
#include <cfgmgr32.h>
#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <deque>
#include <exception>
#include <filesystem>
#include <optional>

#include "exports/expected_store.h"
#include "proof/imported_functions.h"
#include "proof/ledger.h"
#include "proof/small_archive.h"
#include "proof/subjects.h"
#include "support/child_process.h"
#include "support/loaded_library.h"
#include "support/process_counts.h"
#include "support/raised_exception.h"
#include "support/repair_setting.h"

// Runs the cases of the sweep that are left in the ledger whose name it is given. It may crash, end
// or hang in the library; the sweeping program then records that for the case and starts another
// child for the remaining ones.

namespace {

Ledger* g_ledger = nullptr;
HMODULE g_library = nullptr;

[[nodiscard]] Outcome& Current() {
    return g_ledger->outcomes[g_ledger->next];
}

// Ends the child at once after a crash, without a debugger, and records the place in the ledger.
LONG WINAPI NoteCrash(EXCEPTION_POINTERS* crash) {
    const auto* const code = static_cast<std::uint8_t*>(crash->ExceptionRecord->ExceptionAddress);
    Current().exception = crash->ExceptionRecord->ExceptionCode;
    Current().address =
        static_cast<std::uint32_t>(code - reinterpret_cast<std::uint8_t*>(g_library));
    ::TerminateProcess(::GetCurrentProcess(), crash->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

// The stand-ins in the library's import table. All of them count; one of them fails.
class StandIns {
public:
    StandIns(HMODULE library, const FaultCase& fault) {
        const auto functions = ImportedFunctions();
        for (std::size_t i = 0; i < functions.size(); ++i) {
            if (functions[i].plan == nullptr) continue;
            const bool fails = fault.function == i;
            const bool failsLater = fault.memoryStaysGone && functions[i].plan->allocates;
            if (!fails && !failsLater && fault.function != FaultCase::kNothing) continue;
            functions[i].plan->Fail(fails ? fault.call : 0, fault.memoryStaysGone);
            Put(library, functions[i]);
        }
    }

private:
    // What the library imports depends on the compiler that built it.
    void Put(HMODULE library, const ImportedFunction& function) {
        bool isImported = false;
        ImportPatch::VisitImports(library, [&](std::string_view name, void** slot) {
            if (name != function.name) return;
            *function.original = *slot;
            isImported = true;
        });
        if (!isImported) return;
        patches_.emplace_back(library, function.name, function.standIn);
    }

    std::deque<ImportPatch> patches_;
};

// Counts the token handles that folder repairs never close.
class TokenCounter {
public:
    explicit TokenCounter(HMODULE library)
        : fake_(
              [this](HANDLE process, DWORD access, HANDLE* token) {
                  const BOOL opened = fake_.Real(process, access, token);
                  if (opened && (access & TOKEN_QUERY) != 0) ++count;
                  return opened;
              },
              library) {}

    std::int32_t count = 0;

private:
    FakeApi<"OpenProcessToken", decltype(::OpenProcessToken)> fake_;
};

// Delays the caller of CreateThread until the receive thread has read once and reads again, so that
// reading is part of each call. The delay is limited, because a read may fail or never happen.
class DelayedThreadStart {
public:
    explicit DelayedThreadStart(HMODULE library)
        : create_(
              [this](SECURITY_ATTRIBUTES* security, SIZE_T stack, LPTHREAD_START_ROUTINE routine,
                     void* argument, DWORD flags, DWORD* id) {
                  const HANDLE thread = create_.Real(security, stack, routine, argument, flags, id);
                  if (thread != nullptr) ::WaitForSingleObject(readAgain_.Get(), 500);
                  return thread;
              },
              library),
          receive_(
              [this](SOCKET socket, char* bytes, int size, int flags) {
                  if (++reads_ == 2) ::SetEvent(readAgain_.Get());
                  return receive_.Real(socket, bytes, size, flags);
              },
              library) {}

private:
    UniqueHandle readAgain_{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::atomic<int> reads_ = 0;
    FakeApi<"CreateThread", decltype(::CreateThread)> create_;
    FakeApi<"recv", decltype(::recv)> receive_;
};

// What a subject finds on the system.
class Setting {
public:
    explicit Setting(const Subject& subject) {
        if (!subject.RepairsFolders()) return;
        store_.emplace();
        const ExpectedStore expected = StoreOfThisPrefix();
        if (subject.staged) {
            WriteFileContent(temp_.StagingFolder() + L"\\usb\\x64\\usbaapl64.inf");
            WriteFileContent(temp_.StagingFolder() + L"\\usb\\x86\\usbaapl.inf");
            WriteFileContent(store_->Folder(expected.usb.front()) + L"\\sub\\file");
            WriteFileContent(store_->Folder(expected.net) + L"\\file");
        }
        if (subject.infInstalled) WriteFileContent(InstalledInf());
        if (subject.crashReporter) crashReporter_.emplace(CrashReporter());
    }
    ~Setting() { RemoveTree(kAppleFolder); }

private:
    static constexpr const wchar_t* kAppleFolder = L"C:\\Program Files\\Common Files\\Apple";

    [[nodiscard]] static std::wstring InstalledInf() {
        return kAppleFolder + std::wstring(L"\\Mobile Device Support\\NetDrivers\\") +
               (PrefixIs64Bit() ? L"netaapl64.inf" : L"netaapl.inf");
    }

    // Lies beside the library.
    [[nodiscard]] static std::wstring CrashReporter() {
        const std::filesystem::path library(g_ledger->library.data());
        return L"\"" + (library.parent_path() / L"WerFault.exe").wstring() + L"\"";
    }

    PrivateTemporaryDirectory temp_;
    std::optional<EmptyDriverStore> store_;
    std::optional<ChildProcess> crashReporter_;
};

std::int32_t Call(const LoadedLibrary& library, const Subject& subject) {
    switch (subject.port) {
        case Subject::Port::kOpen:
            return library.PortTest(g_ledger->openPort) ? 1 : 0;
        case Subject::Port::kClosed:
            return library.PortTest(g_ledger->closedPort) ? 1 : 0;
        default:
            return library.Call(subject.exportName, subject.argument);
    }
}

// A call that succeeds only if everything works, whatever the library remembers of earlier calls.
bool WorksUndisturbed(const LoadedLibrary& library, const Subject& subject) {
    if (!subject.RepairsFolders()) return library.PortTest(g_ledger->openPort);
    return library.Call("MendloftFolder", 1) == 4;
}

[[nodiscard]] std::int32_t HandleCount() {
    return static_cast<std::int32_t>(ProcessCounts::Handles());
}

[[nodiscard]] bool HeapIsIntact() {
    return ::_heapchk() == _HEAPOK;
}

void NoteCalls(const FaultCase& fault) {
    const auto functions = ImportedFunctions();
    for (std::size_t i = 0; i < functions.size(); ++i) {
        if (functions[i].plan != nullptr)
            g_ledger->calls[fault.subject][i] = functions[i].plan->calls;
    }
}

Outcome::Raised KindOf(const std::optional<RaisedException>& raised) {
    if (!raised) return Outcome::Raised::kNothing;
    const bool saysNoMemory =
        raised->names.front() == ".?AVbad_alloc@std@@" ||
        (raised->names.front() == ".?AV_com_error@@" && raised->hresult == E_OUTOFMEMORY);
    return saysNoMemory ? Outcome::Raised::kNoMemory : Outcome::Raised::kSomethingElse;
}

void RunDisturbed(const LoadedLibrary& library, const Subject& subject, const FaultCase& fault,
                  Outcome& outcome) {
    const StandIns standIns(library.Module(), fault);
    outcome.state = Outcome::State::kCalling;
    const auto raised =
        CallOnItsOwnThread::RaisedBy([&] { outcome.result = Call(library, subject); });
    outcome.raised = KindOf(raised);
    if (fault.function == FaultCase::kNothing) {
        NoteCalls(fault);
    } else {
        outcome.happened = ImportedFunctions()[fault.function].plan->Happened();
    }
    outcome.state = Outcome::State::kReturned;
}

void Run(const FaultCase& fault, Outcome& outcome) {
    const Subject& subject = Subjects()[fault.subject];
    const Setting setting(subject);
    const LoadedLibrary library(g_ledger->library.data());
    g_library = library.Module();
    const TokenCounter tokens(library.Module());
    const SmallArchive archive(library.Module());
    const DelayedThreadStart start(library.Module());
    const FakeApi<"CM_Locate_DevNodeW", decltype(::CM_Locate_DevNodeW)> locate(
        [](DEVINST*, DEVINSTID_W, ULONG) { return CR_SUCCESS; }, library.Module());

    const std::int32_t handles = HandleCount();
    RunDisturbed(library, subject, fault, outcome);
    outcome.handlesLeft = HandleCount() - handles - tokens.count;
    outcome.heapIntact = HeapIsIntact();
    outcome.worksAfterwards = WorksUndisturbed(library, subject);
    outcome.heapIntact = outcome.heapIntact && HeapIsIntact();
}

// Windows and the runtimes open some handles once and keep them, so handles count as left only when
// each of three attempts leaves some.
void RunUntilNothingIsLeft(const FaultCase& fault) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        Outcome& outcome = Current();
        outcome = {.state = Outcome::State::kBegun};
        Run(fault, outcome);
        if (outcome.handlesLeft <= 0) break;
    }
    Current().state = Outcome::State::kDone;
}

}  // namespace

int main(int count, char** arguments) try {
    if (count != 2 || !MayChangeTheSystem()) return 1;
    const SharedLedger ledger(std::filesystem::path(arguments[1]).wstring());
    g_ledger = &*ledger;
    ::SetUnhandledExceptionFilter(&NoteCrash);
    for (; ledger->next < ledger->caseCount; ++ledger->next) {
        RunUntilNothingIsLeft(ledger->cases[ledger->next]);
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "fault_child: %s\n", error.what());
    return 1;
}
