#include <winsock.h>
#include <windows.h>
#include <shellapi.h>

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "proof/small_archive.h"
#include "support/fake_os.h"
#include "support/heap_groups.h"
#include "support/loaded_library.h"
#include "support/process_counts.h"
#include "support/repair_setting.h"
#include "telnet/loopback.h"

// What a process holds after many calls of each export: no more than after a few, except for one
// process token for each folder repair.
//
// The installer tool is a process that has already ended. The driver archive is the small one of
// the fault sweep, and each call overwrites its files.

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// 500 when the fault sweep is a full one.
[[nodiscard]] int CallCount() {
    return std::getenv("MENDLOFT_FULL_SWEEP") != nullptr ? 500 : 100;
}

// The private memory of the process, which includes its heaps and stacks.
[[nodiscard]] std::size_t PrivateBytes() {
    std::size_t bytes = 0;
    MEMORY_BASIC_INFORMATION region{};
    std::uintptr_t address = 0;
    while (::VirtualQuery(reinterpret_cast<const void*>(address), &region, sizeof(region)) != 0) {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) bytes += region.RegionSize;
        const std::uintptr_t next =
            reinterpret_cast<std::uintptr_t>(region.BaseAddress) + region.RegionSize;
        if (next <= address) break;
        address = next;
    }
    return bytes;
}

// An installer tool that ends as soon as it is started.
class QuickInstaller {
public:
    explicit QuickInstaller(HMODULE library)
        : create_(
              [](const wchar_t*, wchar_t*, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                 void*, const wchar_t*, STARTUPINFOW*, PROCESS_INFORMATION* started) {
                  started->hProcess = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
                  started->hThread = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
                  return TRUE;
              },
              library) {}

private:
    FakeApi<"CreateProcessW", decltype(::CreateProcessW)> create_;
};

// Suppresses what the library prints.
class SilentLibrary {
public:
    explicit SilentLibrary(HMODULE library)
        : narrow_(library, "vfprintf", reinterpret_cast<void*>(&PrintNarrow)),
          wide_(library, "vfwprintf", reinterpret_cast<void*>(&PrintWide)) {}

private:
    static int __cdecl PrintNarrow(FILE*, const char*, va_list) { return 0; }
    static int __cdecl PrintWide(FILE*, const wchar_t*, va_list) { return 0; }

    ImportPatch narrow_;
    ImportPatch wide_;
};

// The files below a folder that are open.
[[nodiscard]] std::vector<std::wstring> OpenFiles(const std::wstring& folder) {
    std::vector<std::wstring> open;
    for (const std::wstring& name : Tree(folder)) {
        const std::wstring path = folder + L"\\" + name;
        if (std::filesystem::is_directory(path)) continue;
        const UniqueFile file(::CreateFileW(path.c_str(), GENERIC_READ, /*share=*/0, nullptr,
                                            OPEN_EXISTING, 0, nullptr));
        if (!file) open.push_back(name);
    }
    return open;
}

TEST(OpenFiles, FindsAFileThatIsOpenForWriting) {
    const TemporaryFolder folder;
    WriteFileContent(folder / L"closed");
    std::ofstream open(std::filesystem::path(folder / L"open"));

    EXPECT_THAT(OpenFiles(folder.Path()), ElementsAre(L"open"));
}

TEST(PrivateBytes, GrowByWhatIsAllocated) {
    constexpr std::size_t size = 8'000'000;
    const std::size_t before = PrivateBytes();
    void* const block = ::VirtualAlloc(nullptr, size, MEM_COMMIT, PAGE_READWRITE);

    EXPECT_GE(PrivateBytes(), before + size);

    (void)::VirtualFree(block, 0, MEM_RELEASE);
}

class SteadyState : public testing::Test {
protected:
    SteadyState() {
        FillHeapGroups();
        std::filesystem::create_directories(host + L"\\files\\inf");
        std::filesystem::copy_file(LoadedLibrary::BuiltPath(), host + L"\\libmendloft.dll");
        WriteFileContent(host + L"\\files\\inf\\InfInstallerx64.exe");
        WriteFileContent(host + L"\\files\\inf\\InfInstallerx86.exe");
    }

    // Compares what the process holds after a tenth of the calls, when Windows and the runtimes
    // have allocated what they keep, with what it holds after all of them. They may allocate
    // something later still, so only growth in both of two rounds counts.
    template <typename Call>
    void ExpectSteady(std::size_t tokensPerCall, Call call) {
        const int calls = CallCount();
        for (int i = 0; i < calls / 10; ++i) call();
        (void)ProcessCounts::Now();
        Holdings after = Holdings::Now();
        Holdings expected;
        for (int round = 0; round < 2; ++round) {
            expected = after;
            expected.counts.handles += tokensPerCall * static_cast<std::size_t>(calls);
            for (int i = 0; i < calls; ++i) call();
            after = Holdings::Now();
            if (expected.counts == after.counts) break;
        }

        EXPECT_EQ(expected.counts, after.counts);
        if (!ProcessCounts::HeapIsChecked()) {
            EXPECT_LE(after.privateBytes, expected.privateBytes + kPageNoise);
        }
        EXPECT_THAT(OpenFiles(temp.folder.Path()), IsEmpty());
        EXPECT_THAT(OpenFiles(EmptyDriverStore::kRoot), IsEmpty());
        std::printf(
            "[  STEADY   ] %d calls: %u handles, %u threads, %u blocks, %d private bytes more\n",
            calls, static_cast<unsigned>(after.counts.handles),
            static_cast<unsigned>(after.counts.threads),
            static_cast<unsigned>(after.counts.heapBlocks),
            static_cast<int>(after.privateBytes - expected.privateBytes));
    }

    struct Holdings {
        ProcessCounts counts;
        std::size_t privateBytes = 0;

        static Holdings Now() { return {ProcessCounts::Now(), PrivateBytes()}; }
    };

    static constexpr std::size_t kPageNoise = 64 * 1024;

    PrivateTemporaryDirectory temp;
    EmptyDriverStore store;
    TemporaryFolder parent;
    std::wstring host = parent / L"host";
};

class SteadySetup : public SteadyState {
protected:
    // The AppleKIS, AppleRSM and AppleUsb packages have no 32-bit files.
    void ExpectSteadySetup(const char* name, std::size_t tokensPerCall, std::int32_t result) {
        const LoadedLibrary library(host + L"\\libmendloft.dll");
        const SmallArchive archive(library.Module());
        const QuickInstaller installer(library.Module());
        const SilentLibrary silent(library.Module());
        ExpectSteady(tokensPerCall, [&] { ASSERT_EQ(result, library.Call(name, 1)); });
    }
};

TEST_F(SteadyState, OfAMDPortTestOnAnOpenPort) {
    const LoadedLibrary library;
    const LoopbackListener listener;

    ExpectSteady(0, [&] {
        ASSERT_TRUE(library.PortTest(listener.Port()));
        (void)listener.Accept();
    });
}

TEST_F(SteadyState, OfAMDPortTestOnAClosedPort) {
    const LoadedLibrary library;
    const ClosedPort port;

    ExpectSteady(0, [&] { ASSERT_FALSE(library.PortTest(port)); });
}

TEST_F(SteadyState, OfFiftyPortTestsAtOnce) {
    const LoadedLibrary library;
    const LoopbackListener listener;
    const auto testFiftyTimes = [&] {
        std::atomic<int> accepted = 0;
        {
            std::vector<std::jthread> callers;
            callers.reserve(50);
            for (int i = 0; i < 50; ++i) {
                callers.emplace_back([&] {
                    if (library.PortTest(listener.Port())) ++accepted;
                });
            }
        }
        EXPECT_EQ(50, accepted);
        for (int i = 0; i < 50; ++i) (void)listener.Accept();
    };

    const CountsAround counts(testFiftyTimes);

    EXPECT_EQ(counts.before, counts.after);
}

// The number of free thread-local slots.
[[nodiscard]] std::size_t FreeSlots() {
    std::vector<DWORD> slots;
    for (DWORD slot = ::TlsAlloc(); slot != TLS_OUT_OF_INDEXES; slot = ::TlsAlloc()) {
        slots.push_back(slot);
    }
    for (const DWORD slot : slots) (void)::TlsFree(slot);
    return slots.size();
}

TEST_F(SteadyState, OfThreadLocalSlots) {
    const std::wstring path = host + L"\\libmendloft.dll";
    (void)LoadedLibrary(path);  // warms up
    const std::size_t before = FreeSlots();
    {
        const LoadedLibrary library(path);
        std::thread([&] { EXPECT_FALSE(library.PortTest(ClosedPort())); }).join();
        EXPECT_EQ(before - (IsWine() ? 1 : 0), FreeSlots());  // Wine takes one for the image
    }
    EXPECT_EQ(before, FreeSlots());
}

TEST_F(SteadyState, OfLoadingAndUnloading) {
    constexpr std::size_t loads = 1100;  // a process has 1,088 thread-local slots
    const ClosedPort port;
    const auto loadAndUse = [&] {
        const LoadedLibrary library(host + L"\\libmendloft.dll");
        ASSERT_FALSE(library.PortTest(port));
    };
    loadAndUse();
    (void)ProcessCounts::Now();
    const ProcessCounts before = ProcessCounts::Now();

    for (std::size_t i = 0; i < loads; ++i) loadAndUse();

    const ProcessCounts after = ProcessCounts::Now();
    EXPECT_EQ(before.handles, after.handles);
    EXPECT_EQ(before.threads, after.threads);
    EXPECT_EQ(before.heapBlocks, after.heapBlocks);
    EXPECT_EQ(before.heapBytes, after.heapBytes);
}

TEST_F(SteadyState, OfMendloftFolderExceptForOneTokenPerCall) {
    const LoadedLibrary library;
    const SmallArchive archive(library.Module());

    ExpectSteady(1, [&] { ASSERT_EQ(4, library.Call("MendloftFolder", 1)); });
}

TEST_F(SteadyState, OfMendloftFolderRemovingExceptForOneTokenPerCall) {
    const LoadedLibrary library;
    const SmallArchive archive(library.Module());

    ExpectSteady(1, [&] { ASSERT_EQ(0, library.Call("MendloftFolder", 0)); });
}

// These two stage once and remember where.
TEST_F(SteadySetup, OfSetUpUSBDriver) {
    ExpectSteadySetup("SetUpUSBDriver", 0, 0);
}

TEST_F(SteadySetup, OfSetUpNetDriver) {
    ExpectSteadySetup("SetUpNetDriver", 0, 0);
}

// These stage on every call.
TEST_F(SteadySetup, OfSetUpKisDriverExceptForOneTokenPerCall) {
    ExpectSteadySetup("SetUpKisDriver", 1, PrefixIs64Bit() ? 0 : -1);
}

TEST_F(SteadySetup, OfSetUpRSMDriverExceptForOneTokenPerCall) {
    ExpectSteadySetup("SetUpRSMDriver", 1, PrefixIs64Bit() ? 0 : -1);
}

TEST_F(SteadySetup, OfSetUpAppleUSBDeviceDriverExceptForOneTokenPerCall) {
    ExpectSteadySetup("SetUpAppleUSBDeviceDriver", 1, PrefixIs64Bit() ? 0 : -1);
}

}  // namespace
