#include <winsock.h>
#include <windows.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <thread>

#include "proof/imported_functions.h"
#include "proof/ledger.h"
#include "proof/subjects.h"
#include "support/fake_os.h"
#include "support/loaded_library.h"
#include "support/repair_setting.h"
#include "telnet/loopback.h"

// The fault sweep: for every export, every function that the finished library imports from Windows
// is made to fail, one call at a time. The export must still return a documented result, with an
// intact heap, with no handle left except the token of a folder repair, and the library must go on
// working in that process. When an allocation fails, or that one and all later ones, an exception
// that says so may leave the export instead; the same is asked of the library then.
//
// The cases run in child processes (fault_child.cpp). Each child runs case after case until one of
// them ends it. Calls that the library makes while it is being loaded are not swept, because the
// stand-ins can only be installed afterwards.
//
// A failing function does nothing, unless its job is to release something: then it releases that
// first, because the sweep would otherwise report leaks of its own making.

namespace {

using testing::IsEmpty;
using Kind = ImportedFunction::Kind;

// "all": every call of every function fails in its turn, which takes many minutes. The name of a
// function: every call of that function does. Unset: a selection of the calls does.
[[nodiscard]] std::string_view FullSweep() {
    const char* const value = std::getenv("MENDLOFT_FULL_SWEEP");
    return value == nullptr ? "" : value;
}
[[nodiscard]] bool IsFullSweep() {
    return !FullSweep().empty();
}
[[nodiscard]] bool IsSwept(std::string_view function) {
    return !IsFullSweep() || FullSweep() == "all" || FullSweep() == function;
}

// A service that sends text to every client and closes the connection when the client does.
class TalkingService {
public:
    [[nodiscard]] std::uint16_t Port() const { return listener_.Port(); }
    ~TalkingService() {
        listener_.Close();
        thread_.join();
    }

private:
    void Serve() try {
        for (;;) {
            const UniqueSocket peer = listener_.Accept();
            SendText(peer, "hello\r\nthere\r\n");
            (void)ReceiveAll(peer);
        }
    } catch (const std::runtime_error&) {
        // The listener is closed.
    }

    LoopbackListener listener_;
    std::thread thread_{[this] { Serve(); }};
};

// One child process, with a time limit for each case.
class SweepingChild {
public:
    explicit SweepingChild(const std::string& ledgerName) {
        SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        const UniqueFile nowhere(::CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE,
                                               FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                               OPEN_EXISTING, 0, nullptr));
        STARTUPINFOA startup{};
        startup.cb = sizeof(startup);
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = startup.hStdOutput = startup.hStdError = nowhere.Get();
        std::string commandLine = "\"" + std::filesystem::path(ProgramFolder()).string() +
                                  "\\fault_child.exe\" " + ledgerName;
        PROCESS_INFORMATION started{};
        if (!::CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                              nullptr, &startup, &started)) {
            throw std::runtime_error("cannot start fault_child.exe");
        }
        ::CloseHandle(started.hThread);
        process_.Reset(started.hProcess);
        EndWithThisProgram();
    }

    // Waits for the child to end and returns its exit code; nothing when it was ended here because
    // a case took too long.
    [[nodiscard]] std::optional<DWORD> Watch(const Ledger& ledger) const {
        const std::uint32_t& next = ledger.next;
        std::uint32_t last = next;
        ULONGLONG since = ::GetTickCount64();
        while (::WaitForSingleObject(process_.Get(), 20) == WAIT_TIMEOUT) {
            const std::uint32_t now = static_cast<const volatile std::uint32_t&>(next);
            if (now != last) {
                last = now;
                since = ::GetTickCount64();
            } else if (::GetTickCount64() - since > kLimit) {
                ::TerminateProcess(process_.Get(), 0);
                ::WaitForSingleObject(process_.Get(), INFINITE);
                return std::nullopt;
            }
        }
        DWORD code = 0;
        ::GetExitCodeProcess(process_.Get(), &code);
        return code;
    }

private:
    static constexpr ULONGLONG kLimit = 30'000;  // milliseconds

    // If this program is killed, the child must not go on changing the driver store.
    void EndWithThisProgram() const {
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        ::SetInformationJobObject(job_.Get(), JobObjectExtendedLimitInformation, &limits,
                                  sizeof(limits));
        ::AssignProcessToJobObject(job_.Get(), process_.Get());
    }

    UniqueHandle job_{::CreateJobObjectW(nullptr, nullptr)};
    UniqueHandle process_;
};

// How the sweeping program judges a case.
enum class Verdict {
    kSurvived,
    kRaised,      // the host was told by an exception that there is no memory
    kDidNotCome,  // the call to fail was never made, which depends on the timing of threads
    kCrashed,
    kHung,
    kUndocumented,
    kLeftHandles,
    kBrokeTheHeap,
    kWorksNoMore,
};

[[nodiscard]] bool IsGood(Verdict verdict) {
    return verdict == Verdict::kSurvived || verdict == Verdict::kRaised ||
           verdict == Verdict::kDidNotCome;
}

[[nodiscard]] const char* Name(Verdict verdict) {
    static constexpr const char* names[] = {"survived",     "raised",         "did not come",
                                            "crashed",      "hung",           "undocumented result",
                                            "left handles", "broke the heap", "works no more"};
    return names[static_cast<std::size_t>(verdict)];
}

// Lets calls fail in children and keeps the verdicts.
class Sweep : public testing::Test {
protected:
    Sweep() {
        std::filesystem::create_directories(host_ + L"\\files\\inf");
        Provide(L"libmendloft.dll", L"libmendloft.dll");
        Provide(L"inf_installer_recorder.exe", L"files\\inf\\InfInstallerx64.exe");
        Provide(L"inf_installer_recorder.exe", L"files\\inf\\InfInstallerx86.exe");
        Provide(L"sleeper.exe", L"WerFault.exe");
        const std::wstring library = host_ + L"\\libmendloft.dll";
        std::copy(library.begin(), library.end(), ledger_->library.begin());
        ledger_->openPort = service_.Port();
        ledger_->closedPort = closedPort_;
    }

    // Runs the cases one after another, in as many children as necessary.
    std::vector<Verdict> Run(const std::vector<FaultCase>& cases) {
        std::copy(cases.begin(), cases.end(), ledger_->cases.begin());
        std::fill_n(ledger_->outcomes.begin(), cases.size(), Outcome{});
        ledger_->caseCount = static_cast<std::uint32_t>(cases.size());
        ledger_->next = 0;
        std::map<std::uint32_t, Verdict> ends;
        while (ledger_->next < ledger_->caseCount) {
            const auto code = SweepingChild(name_).Watch(*ledger_);
            if (ledger_->next == ledger_->caseCount) break;
            ledger_->outcomes[ledger_->next].exitCode = code.value_or(0);
            ends[ledger_->next] = code.has_value() ? Verdict::kCrashed : Verdict::kHung;
            ++ledger_->next;
        }
        std::vector<Verdict> verdicts;
        for (std::uint32_t i = 0; i < cases.size(); ++i) {
            verdicts.push_back(ends.contains(i) ? ends[i] : Judge(cases[i], ledger_->outcomes[i]));
        }
        return verdicts;
    }

    // How often each subject calls each function when nothing fails.
    void CountCalls() {
        std::vector<FaultCase> cases;
        for (std::uint16_t i = 0; i < Subjects().size(); ++i) cases.push_back({.subject = i});
        EXPECT_THAT(Run(cases), testing::Each(Verdict::kSurvived));
    }

    // A port test answers that nothing was reached when there is no memory.
    [[nodiscard]] static bool EndsAsDocumented(const Subject& subject, const Outcome& outcome) {
        if (outcome.raised != Outcome::Raised::kNothing) {
            return outcome.raised == Outcome::Raised::kNoMemory &&
                   subject.port == Subject::Port::kNone;
        }
        const auto& documented = subject.documented;
        return std::find(documented.begin(), documented.end(), outcome.result) != documented.end();
    }

    [[nodiscard]] static Verdict Judge(const FaultCase& fault, const Outcome& outcome) {
        if (!EndsAsDocumented(Subjects()[fault.subject], outcome)) return Verdict::kUndocumented;
        if (!outcome.heapIntact) return Verdict::kBrokeTheHeap;
        if (outcome.handlesLeft > 0) return Verdict::kLeftHandles;
        if (!outcome.worksAfterwards) return Verdict::kWorksNoMore;
        if (outcome.raised != Outcome::Raised::kNothing) return Verdict::kRaised;
        const bool counted = fault.function == FaultCase::kNothing;
        return outcome.happened || counted ? Verdict::kSurvived : Verdict::kDidNotCome;
    }

    [[nodiscard]] static std::string Describe(const FaultCase& fault, const Outcome& outcome,
                                              Verdict verdict) {
        const Subject& subject = Subjects()[fault.subject];
        std::array<char, 256> text{};
        std::snprintf(text.data(), text.size(),
                      "%s (%s), call %u of %s: %s (result %d, %d handles, exception %lx at %x, "
                      "state %d, exit code %lx)",
                      subject.exportName, subject.situation, static_cast<unsigned>(fault.call),
                      ImportedFunctions()[fault.function].name.data(), Name(verdict),
                      static_cast<int>(outcome.result), static_cast<int>(outcome.handlesLeft),
                      outcome.exception, static_cast<unsigned>(outcome.address),
                      static_cast<int>(outcome.state), outcome.exitCode);
        return text.data();
    }

    // Which of the calls that a subject makes to a function are to fail, by number.
    [[nodiscard]] std::set<std::uint32_t> Choose(std::uint16_t subject,
                                                 std::uint16_t function) const {
        const std::uint32_t calls = ledger_->calls[subject][function];
        std::set<std::uint32_t> chosen;
        for (std::uint32_t call = 1; call <= calls; ++call) {
            const bool isUsual = IsUsual(subject, function, call);
            if (IsFullSweep() || (isUsual && IsForThisPrefix(subject, function, call)))
                chosen.insert(call);
        }
        return chosen;
    }

    // The usual sweep makes one half of its calls fail in a 32-bit prefix, and the other half in a
    // 64-bit one. The numbers of a call decide, in a way that divides each group of calls.
    [[nodiscard]] static bool IsForThisPrefix(std::uint16_t subject, std::uint16_t function,
                                              std::uint32_t call) {
        return ((subject / 2 + function + call / 32 + call) % 2 == 0) == PrefixIs64Bit();
    }

    // The usual sweep takes the first two calls and the last one, and every 32nd allocation.
    // The setup exports begin with the same work as the folder repair. A function that the repair
    // calls too therefore fails only at its first call, in one of the ten setup subjects, and of
    // its allocations every hundredth does.
    [[nodiscard]] bool IsUsual(std::uint16_t subject, std::uint16_t function,
                               std::uint32_t call) const {
        const bool allocates = ImportedFunctions()[function].kind == Kind::kMemory;
        const bool isSetup = Subjects()[subject].IsSetup();
        if (isSetup && ledger_->calls[kFolderRepair][function] != 0) {
            return allocates ? call % 100 == subject : call == 1 && function % 10 == subject % 10;
        }
        return call <= 2 || call == ledger_->calls[subject][function] ||
               (allocates && call % 32 == 0);
    }

    [[nodiscard]] std::vector<FaultCase> CasesOf(Kind kind, bool memoryStaysGone) const {
        std::vector<FaultCase> cases;
        const auto functions = ImportedFunctions();
        const auto functionCount = static_cast<std::uint16_t>(functions.size());
        for (std::uint16_t subject = 0; subject < Subjects().size(); ++subject) {
            for (std::uint16_t function = 0; function < functionCount; ++function) {
                if (functions[function].kind != kind || !IsSwept(functions[function].name))
                    continue;
                for (const std::uint32_t call : Choose(subject, function)) {
                    cases.push_back({subject, function, call, memoryStaysGone});
                }
            }
        }
        return cases;
    }

    // Runs the sweep and prints a summary; returns a line for each case that failed.
    [[nodiscard]] std::vector<std::string> SweepThrough(Kind kind, bool memoryStaysGone = false) {
        CountCalls();
        const std::vector<FaultCase> cases = CasesOf(kind, memoryStaysGone);
        const std::vector<Verdict> verdicts = Run(cases);
        std::vector<std::string> failures;
        for (std::size_t i = 0; i < cases.size(); ++i) {
            const bool mayRaise = kind == Kind::kMemory;
            const bool raised = verdicts[i] == Verdict::kRaised;
            if (IsGood(verdicts[i]) && (mayRaise || !raised)) continue;
            failures.push_back(Describe(cases[i], ledger_->outcomes[i], verdicts[i]));
        }
        Summarise(cases, verdicts);
        return failures;
    }

    static void Summarise(const std::vector<FaultCase>& cases,
                          const std::vector<Verdict>& verdicts) {
        std::set<int> functions;
        for (const FaultCase& fault : cases) functions.insert(fault.function);
        std::map<Verdict, int> counts;
        for (const Verdict verdict : verdicts) ++counts[verdict];
        std::string line = std::to_string(Subjects().size()) + " calls of exports x " +
                           std::to_string(functions.size()) + " functions, " +
                           std::to_string(cases.size()) + " failing calls" +
                           (IsFullSweep() ? " (all)" : " (a choice)");
        for (const auto& [verdict, count] : counts) {
            line += (verdict == counts.begin()->first ? ": " : ", ") + std::to_string(count) + " " +
                    Name(verdict);
        }
        std::printf("[  SWEPT   ] %s\n", line.c_str());
    }

    static constexpr std::size_t kFolderRepair = 2;  // among the subjects

    void Provide(const wchar_t* built, const wchar_t* name) const {
        std::filesystem::copy_file(ProgramFolder() + L"\\" + built, host_ + L"\\" + name);
    }

    std::string name_ = "mendloft-sweep-" + std::to_string(::GetCurrentProcessId());
    SharedLedger ledger_{std::filesystem::path(name_).wstring()};
    PrivateTemporaryDirectory temp_;  // the children's are inside it
    TemporaryFolder parent_;
    std::wstring host_ = parent_ / L"host";
    TalkingService service_;
    ClosedPort closedPort_;
};

TEST_F(Sweep, KnowsEveryFunctionThatTheLibraryImports) {
    const LoadedLibrary library;
    std::vector<std::string> unknown;
    ImportPatch::VisitImports(library.Module(), [&](std::string_view name, void**) {
        const auto functions = ImportedFunctions();
        if (std::none_of(functions.begin(), functions.end(),
                         [&](const auto& function) { return function.name == name; })) {
            unknown.emplace_back(name);
        }
    });

    EXPECT_THAT(unknown, IsEmpty());
}

TEST_F(Sweep, GetsADocumentedResultWhicheverWindowsCallFails) {
    EXPECT_THAT(SweepThrough(Kind::kCall), IsEmpty());
}

TEST_F(Sweep, GetsAResultOrAnExceptionWhicheverAllocationFails) {
    EXPECT_THAT(SweepThrough(Kind::kMemory), IsEmpty());
}

TEST_F(Sweep, GetsAResultOrAnExceptionWheneverMemoryIsGoneForGood) {
    EXPECT_THAT(SweepThrough(Kind::kMemory, /*memoryStaysGone=*/true), IsEmpty());
}

}  // namespace
