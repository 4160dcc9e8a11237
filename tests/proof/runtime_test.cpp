#include <windows.h>

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

#include "platform/unique_handle.h"
#include "support/import_patch.h"
#include "support/loaded_library.h"
#include "support/process_counts.h"
#include "telnet/loopback.h"

// The part of the C++ runtime that is in the finished library, when memory runs out. A port test
// without memory throws and catches inside the library.

namespace {

using testing::Each;

// In the library, `malloc` fails: always, or the first time that a thread calls it.
class FailingMalloc {
public:
    enum class When { kAlways, kFirstOfEachThread };

    FailingMalloc(HMODULE library, When when)
        : patch_(library, "malloc", reinterpret_cast<void*>(&Allocate)) {
        when_ = when;
    }

private:
    static void* __cdecl Allocate(std::size_t size) {
        static thread_local bool hasFailed = false;
        if (when_ == When::kAlways || !std::exchange(hasFailed, true)) return nullptr;
        return std::malloc(size);
    }

    static inline When when_;
    ImportPatch patch_;
};

class LibraryRuntime : public testing::Test {
protected:
    ClosedPort port;
};

TEST_F(LibraryRuntime, ThrowsOnManyThreadsAtOnceWithoutMemory) {
    const LoadedLibrary library;
    const FailingMalloc malloc(library.Module(), FailingMalloc::When::kAlways);
    std::atomic<int> falseAnswers = 0;
    {
        std::vector<std::jthread> threads;
        threads.reserve(8);
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([&] {
                for (int call = 0; call < 200; ++call) {
                    if (!library.PortTest(port)) ++falseAnswers;
                }
            });
        }
    }

    EXPECT_EQ(8 * 200, falseAnswers);
}

// It has room for 128 threads without an allocation, and for 128 more with each.
TEST_F(LibraryRuntime, ServesMoreThreadsThanItHasRoomFor) {
    constexpr int count = 260;
    const auto throwOnAllThreads = [&] {
        const LoadedLibrary library;
        const FailingMalloc malloc(library.Module(), FailingMalloc::When::kFirstOfEachThread);
        std::atomic<int> falseAnswers = 0;
        std::atomic<int> thrown = 0;
        const UniqueHandle allHaveThrown(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        {
            std::vector<std::jthread> threads;
            threads.reserve(count);
            for (int i = 0; i < count; ++i) {
                threads.emplace_back([&] {
                    if (!library.PortTest(port)) ++falseAnswers;
                    if (++thrown == count) ::SetEvent(allHaveThrown.Get());
                    ::WaitForSingleObject(allHaveThrown.Get(), INFINITE);
                });
            }
        }
        EXPECT_EQ(count, falseAnswers);
    };

    const CountsAround counts(throwOnAllThreads);

    EXPECT_EQ(counts.before, counts.after);
}

TEST_F(LibraryRuntime, UsesTheRoomOfThreadsThatHaveEnded) {
    const LoadedLibrary library;
    const FailingMalloc malloc(library.Module(), FailingMalloc::When::kAlways);
    std::vector<bool> answers;

    for (int i = 0; i < 300; ++i) {
        std::thread([&] { answers.push_back(library.PortTest(port)); }).join();
    }

    EXPECT_THAT(answers, Each(false));
}

// Makes `malloc` fail in all modules of the process, from a call on. Its first instructions become
// a jump, because the imports of a library that is being loaded cannot be replaced.
class MallocWhileLoading {
public:
    explicit MallocWhileLoading(int failingFrom) {
        remaining_ = failingFrom;
        Write(Jump());
    }
    MallocWhileLoading(const MallocWhileLoading&) = delete;
    MallocWhileLoading& operator=(const MallocWhileLoading&) = delete;
    ~MallocWhileLoading() { Write(original_); }

    [[nodiscard]] static bool HasFailed() { return remaining_ <= 0; }

private:
    using Code = std::array<std::uint8_t, 5>;

    static void* __cdecl Allocate(std::size_t size) {
        return --remaining_ <= 0 ? nullptr : std::calloc(1, size);
    }

    [[nodiscard]] static Code Jump() {
        const auto distance = reinterpret_cast<std::uintptr_t>(&Allocate) -
                              reinterpret_cast<std::uintptr_t>(place_) - sizeof(Code);
        Code code{0xE9};
        std::memcpy(code.data() + 1, &distance, sizeof(distance));
        return code;
    }

    static void Write(const Code& code) {
        DWORD protection = 0;
        ::VirtualProtect(place_, sizeof(code), PAGE_EXECUTE_READWRITE, &protection);
        std::memcpy(place_, code.data(), sizeof(code));
        ::VirtualProtect(place_, sizeof(code), protection, &protection);
        ::FlushInstructionCache(::GetCurrentProcess(), place_, sizeof(code));
    }

    [[nodiscard]] static Code Read() {
        Code code{};
        std::memcpy(code.data(), place_, sizeof(code));
        return code;
    }

    static inline void* const place_ =
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"msvcrt.dll"), "malloc"));
    static inline const Code original_ = Read();
    static inline std::atomic<int> remaining_ = 0;
};

class LoadingWithoutMemory : public testing::Test {
protected:
    // Nothing may be allocated here, except by loading.
    [[nodiscard]] static HMODULE Load(const wchar_t* path, int failingFrom, DWORD& error) {
        const MallocWhileLoading malloc(failingFrom);
        const HMODULE library = ::LoadLibraryW(path);
        error = ::GetLastError();
        return library;
    }

    const std::wstring path = LoadedLibrary::BuiltPath();
};

TEST_F(LoadingWithoutMemory, FailsAsLoadingDoes) {
    DWORD error = ERROR_SUCCESS;

    EXPECT_EQ(nullptr, Load(path.c_str(), 1, error));

    EXPECT_EQ(DWORD{ERROR_DLL_INIT_FAILED}, error);
}

TEST_F(LoadingWithoutMemory, DoesNotKeepTheLibraryFromBeingLoadedLater) {
    DWORD error = ERROR_SUCCESS;
    ASSERT_EQ(nullptr, Load(path.c_str(), 1, error));

    const LoadedLibrary library;

    EXPECT_FALSE(library.PortTest(ClosedPort()));
}

TEST_F(LoadingWithoutMemory, EndsInAFailureOrInALibraryThatNeedsNoneToThrow) {
    int failingFrom = 0;
    do {
        ++failingFrom;
        DWORD error = ERROR_SUCCESS;
        const HMODULE loaded = Load(path.c_str(), failingFrom, error);
        if (loaded == nullptr) continue;
        const LoadedLibrary library;
        ::FreeLibrary(loaded);
        const FailingMalloc malloc(library.Module(), FailingMalloc::When::kAlways);
        EXPECT_FALSE(library.PortTest(ClosedPort())) << failingFrom;
    } while (MallocWhileLoading::HasFailed());

    EXPECT_GT(failingFrom, 1);
}

}  // namespace
