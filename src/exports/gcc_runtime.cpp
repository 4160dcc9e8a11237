#include "exports/gcc_runtime.h"

#include <windows.h>

#include <pthread.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

// For mingw-w64 only. What GCC's runtime takes from its threads library and from Windows when the
// library throws a C++ exception. The linker finds these functions here first, so neither the
// threads library nor the runtime's emulation of thread-local variables becomes part of the DLL.
// Both allocate on first use. Without memory, that ended in a stack overflow or in abort(), just
// when std::bad_alloc was to be thrown. They also took a thread-local slot of the process for each
// load, and two handles for each thread that threw. Nothing here allocates, except for the 129th
// thread that has thrown and has not ended.
//
// Written for libgcc and libstdc++ of GCC 12 and 14, with mingw-w64 10 and 12. A runtime that needs
// more of the threads library does not link, because these functions would be defined twice.

// What the runtime knows about the exceptions of a thread, as the Itanium C++ ABI defines it.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
namespace __cxxabiv1 {
struct __cxa_eh_globals {
    void* caughtExceptions;
    unsigned uncaughtExceptions;
};
}  // namespace __cxxabiv1
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace {

using ExceptionState = __cxxabiv1::__cxa_eh_globals;

struct ThreadRecord {
    std::atomic<DWORD> thread = 0;  // the number of a thread; 0: free
    ExceptionState state{};
};

struct RecordBlock {
    std::array<ThreadRecord, 128> records;
    std::atomic<RecordBlock*> next = nullptr;
};

constinit RecordBlock g_records;

ThreadRecord* Find(DWORD thread) {
    for (RecordBlock* block = &g_records; block != nullptr; block = block->next) {
        for (ThreadRecord& record : block->records) {
            if (record.thread == thread) return &record;
        }
    }
    return nullptr;
}

ThreadRecord* TakeFreeRecord(DWORD thread) {
    for (RecordBlock* block = &g_records; block != nullptr; block = block->next) {
        for (ThreadRecord& record : block->records) {
            DWORD none = 0;
            if (record.thread.compare_exchange_strong(none, thread)) return &record;
        }
    }
    return nullptr;
}

// Ends the process when there is no memory: an exception is being thrown and cannot be.
void AppendBlock() {
    void* const memory = std::malloc(sizeof(RecordBlock));
    if (memory == nullptr) std::abort();
    auto* const added = new (memory) RecordBlock;
    std::atomic<RecordBlock*>* end = &g_records.next;
    for (RecordBlock* expected = nullptr; !end->compare_exchange_strong(expected, added);
         expected = nullptr) {
        end = &expected->next;
    }
}

ThreadRecord& RecordOfThisThread() {
    const DWORD thread = ::GetCurrentThreadId();
    ThreadRecord* record = Find(thread);
    while (record == nullptr) {
        record = TakeFreeRecord(thread);
        if (record == nullptr) AppendBlock();
    }
    return *record;
}

constexpr pthread_mutex_t kUnlocked = PTHREAD_MUTEX_INITIALIZER;
constexpr pthread_mutex_t kLocked = 1;
static_assert(kUnlocked != kLocked);

constexpr pthread_once_t kNotYet = PTHREAD_ONCE_INIT;
constexpr pthread_once_t kRunning = 1;
constexpr pthread_once_t kDone = 2;
static_assert(kNotYet != kRunning && kNotYet != kDone);

// Long enough for another thread to go on, whatever its priority. The runtime holds its locks for a
// few instructions, while it reads its tables.
void LetOthersGoOn() {
    ::Sleep(1);
}

// Replaces GetModuleHandleA. In a host that has loaded the shared runtime, the runtime in the DLL
// would register its unwind tables there and not find them again: every exception inside the
// library, caught or not, would end the process. Allocates nothing.
HMODULE WINAPI FindModule(const char* name) {
    if (name != nullptr && std::strcmp(name, "libgcc_s_dw2-1.dll") == 0) return nullptr;
    HMODULE module = nullptr;
    (void)::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, name, &module);
    return module;
}

}  // namespace

void ForgetThisThread() {
    ThreadRecord* const record = Find(::GetCurrentThreadId());
    if (record == nullptr) return;
    record->state = {};
    record->thread = 0;
}

void ForgetAllThreads() {
    RecordBlock* block = g_records.next.exchange(nullptr);
    while (block != nullptr) {
        RecordBlock* const next = block->next;
        std::free(block);
        block = next;
    }
}

// The names and types are the runtime's.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
namespace __cxxabiv1 {

extern "C" __cxa_eh_globals* __cxa_get_globals() noexcept {
    return &RecordOfThisThread().state;
}

extern "C" __cxa_eh_globals* __cxa_get_globals_fast() noexcept {
    return &RecordOfThisThread().state;
}

}  // namespace __cxxabiv1
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

extern "C" {

// The linker uses this variable in place of the import table's entry for GetModuleHandleA.
extern HMODULE(WINAPI* const kRuntimeGetModuleHandleA)(const char* name);
HMODULE(WINAPI* const kRuntimeGetModuleHandleA)(const char* name) = &FindModule;

// NOLINTBEGIN(misc-non-copyable-objects,readability-non-const-parameter): the runtime's types
int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* /*attributes*/) {
    *mutex = kUnlocked;
    return 0;
}

int pthread_mutex_destroy(pthread_mutex_t* /*mutex*/) {
    return 0;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
    const std::atomic_ref state(*mutex);
    pthread_mutex_t found = state;  // one of several initial values, if it is not kLocked
    while (found == kLocked || !state.compare_exchange_strong(found, kLocked)) {
        LetOthersGoOn();
        found = state;
    }
    return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) {
    const std::atomic_ref state(*mutex);
    state = kUnlocked;
    return 0;
}

// Whoever waits looks again by itself, so nobody has to be woken.
int pthread_cond_broadcast(pthread_cond_t* /*condition*/) {
    return 0;
}

int pthread_cond_wait(pthread_cond_t* /*condition*/, pthread_mutex_t* mutex) {
    (void)pthread_mutex_unlock(mutex);
    LetOthersGoOn();
    return pthread_mutex_lock(mutex);
}

int pthread_once(pthread_once_t* once, void (*function)()) {
    const std::atomic_ref state(*once);
    pthread_once_t found = kNotYet;
    if (state.compare_exchange_strong(found, kRunning)) {
        function();
        state = kDone;
    }
    while (state != kDone) LetOthersGoOn();
    return 0;
}
// NOLINTEND(misc-non-copyable-objects,readability-non-const-parameter)

}  // extern "C"
