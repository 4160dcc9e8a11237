#pragma once

#include <windows.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "platform/unique_handle.h"

// What the sweeping program and its children tell each other. The ledger is in shared memory, so
// nothing in it is lost when a child crashes.

// One case: in the call of one subject, one call of one imported function fails, and every later
// allocation too if `memoryStaysGone`.
struct FaultCase {
    static constexpr std::uint16_t kNothing = 0xFFFF;  // no function fails: the calls are counted

    std::uint16_t subject = 0;
    std::uint16_t function = kNothing;
    std::uint32_t call = 0;  // counted from 1
    bool memoryStaysGone = false;
};

// The result of a case, as far as the child can tell.
struct Outcome {
    enum class State : std::uint8_t { kNotRun, kBegun, kCalling, kReturned, kDone };

    // What left the export besides a result.
    enum class Raised : std::uint8_t { kNothing, kNoMemory, kSomethingElse };

    State state = State::kNotRun;
    Raised raised = Raised::kNothing;
    bool happened = false;         // the call to fail was made
    bool heapIntact = false;       // after the disturbed call and after the undisturbed one
    bool worksAfterwards = false;  // an undisturbed call gave its proper result
    std::int32_t result = 0;
    std::int32_t handlesLeft = 0;  // besides the token of each folder repair
    DWORD exitCode = 0;            // of a child that ended within the case
    DWORD exception = 0;           // the one that ended the child
    std::uint32_t address = 0;     // where it was raised, relative to the library
};

struct Ledger {
    static constexpr std::size_t kMaxSubjects = 16;
    static constexpr std::size_t kMaxFunctions = 256;
    static constexpr std::size_t kMaxCases = 40'000;

    // For the children.
    std::array<wchar_t, MAX_PATH> library;  // the path of the library to load
    std::uint16_t openPort = 0;             // a service accepts connections here and sends text
    std::uint16_t closedPort = 0;
    std::uint32_t caseCount = 0;
    std::array<FaultCase, kMaxCases> cases;

    // From the children.
    std::uint32_t next = 0;  // the case to run, or the one that is running
    std::array<Outcome, kMaxCases> outcomes;
    std::array<std::array<std::uint32_t, kMaxFunctions>, kMaxSubjects> calls;
};

// The ledger's memory, under a name by which the children find it.
class SharedLedger {
public:
    explicit SharedLedger(const std::wstring& name)
        : mapping_(::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                        sizeof(Ledger), name.c_str())) {
        if (mapping_) ledger_ = ::MapViewOfFile(mapping_.Get(), FILE_MAP_WRITE, 0, 0, 0);
        if (ledger_ == nullptr) throw std::runtime_error("no memory for the ledger");
    }
    SharedLedger(const SharedLedger&) = delete;
    SharedLedger& operator=(const SharedLedger&) = delete;
    ~SharedLedger() { ::UnmapViewOfFile(ledger_); }

    [[nodiscard]] Ledger& operator*() const { return *static_cast<Ledger*>(ledger_); }
    [[nodiscard]] Ledger* operator->() const { return static_cast<Ledger*>(ledger_); }

private:
    UniqueHandle mapping_;
    void* ledger_ = nullptr;
};
