#include "support/recorded_calls.h"

#include <windows.h>
#include <cfgmgr32.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <string_view>

#include "support/fake_api.h"
#include "support/loaded_library.h"
#include "support/temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSubsetOf;

// The tests make calls through the import table of the finished library, as its own code does.
class RecordedCallsTest : public testing::Test {
protected:
    template <FunctionName Name, typename Function>
    [[nodiscard]] Function* Imported() const {
        Function* function = nullptr;
        ImportPatch::VisitImports(library.Module(), [&](std::string_view name, void** slot) {
            if (name == Name.text) function = reinterpret_cast<Function*>(*slot);
        });
        return function;
    }
    [[nodiscard]] BOOL CreateFolder(const std::wstring& path) const {
        return Imported<"CreateDirectoryW", decltype(::CreateDirectoryW)>()(path.c_str(), nullptr);
    }
    [[nodiscard]] BOOL Copy(const std::wstring& from, const std::wstring& to,
                            BOOL keepOldFile = FALSE) const {
        return Imported<"CopyFileW", decltype(::CopyFileW)>()(from.c_str(), to.c_str(),
                                                              keepOldFile);
    }

    [[nodiscard]] HANDLE OpenNoProcess() const {
        return Imported<"OpenProcess", decltype(::OpenProcess)>()(PROCESS_TERMINATE, FALSE, 0);
    }
    void Adjust(TOKEN_PRIVILEGES& change) const {
        (void)Imported<"AdjustTokenPrivileges", decltype(::AdjustTokenPrivileges)>()(
            nullptr, FALSE, &change, sizeof(change), nullptr, nullptr);
    }
    [[nodiscard]] CONFIGRET Locate(DEVINST& device) const {
        return Imported<"CM_Locate_DevNodeW", decltype(::CM_Locate_DevNodeW)>()(&device, nullptr,
                                                                                0);
    }
    [[nodiscard]] CONFIGRET Rescan(DEVINST device) const {
        return Imported<"CM_Reenumerate_DevNode", decltype(::CM_Reenumerate_DevNode)>()(device, 0);
    }

    // "name|what|to" of every call.
    static std::vector<std::wstring> Lines(const RecordedCalls& recorded) {
        std::vector<std::wstring> lines;
        for (const RecordedCall& call : recorded.Calls()) {
            lines.push_back(std::wstring(call.name.begin(), call.name.end()) + L"|" + call.what +
                            L"|" + call.to);
        }
        return lines;
    }

    TemporaryFolder folder;
    LoadedLibrary library;
};

TEST_F(RecordedCallsTest, AreTheCallsOfTheModuleInTheirOrder) {
    const RecordedCalls recorded(library.Module());

    EXPECT_TRUE(CreateFolder(folder / L"one"));
    EXPECT_FALSE(Copy(folder / L"no file", folder / L"two"));
    EXPECT_TRUE(CreateFolder(folder / L"three"));

    EXPECT_THAT(Lines(recorded),
                ElementsAre(L"CreateDirectoryW|" + (folder / L"one") + L"|",
                            L"CopyFileW|" + (folder / L"no file") + L"|" + (folder / L"two"),
                            L"CreateDirectoryW|" + (folder / L"three") + L"|"));
}

TEST_F(RecordedCallsTest, ReachWindows) {
    const RecordedCalls recorded(library.Module());

    EXPECT_TRUE(CreateFolder(folder / L"made"));

    EXPECT_TRUE(Exists(folder / L"made"));
}

// With OpenProcess, because recording that call makes further ones, which fail for another reason.
TEST_F(RecordedCallsTest, PreserveTheLastError) {
    const RecordedCalls recorded(library.Module());

    EXPECT_EQ(nullptr, OpenNoProcess());

    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, ::GetLastError());
    EXPECT_THAT(Lines(recorded), ElementsAre(L"OpenProcess|(unknown)|"));
}

TEST_F(RecordedCallsTest, AreNotThoseOfOtherModules) {
    const RecordedCalls recorded(library.Module());

    EXPECT_TRUE(::CreateDirectoryW((folder / L"made").c_str(), nullptr));

    EXPECT_THAT(Lines(recorded), IsEmpty());
}

TEST_F(RecordedCallsTest, DoNotRescanDevices) {
    const RecordedCalls recorded(library.Module());
    DEVINST root = 0;

    EXPECT_EQ(CONFIGRET{CR_SUCCESS}, Locate(root));
    EXPECT_EQ(CONFIGRET{CR_SUCCESS}, Rescan(root));

    EXPECT_THAT(Lines(recorded),
                ElementsAre(L"CM_Locate_DevNodeW|(root)|", L"CM_Reenumerate_DevNode|(root)|"));
}

TEST_F(RecordedCallsTest, DistinguishACopyThatKeepsAnExistingFile) {
    const RecordedCalls recorded(library.Module());
    WriteFileContent(folder / L"file");

    EXPECT_TRUE(Copy(folder / L"file", folder / L"copy", TRUE));

    EXPECT_THAT(Lines(recorded), ElementsAre(L"CopyFileW (otherwise)|" + (folder / L"file") + L"|" +
                                             (folder / L"copy")));
}

TEST_F(RecordedCallsTest, DistinguishDisablingAPrivilegeFromEnablingIt) {
    const RecordedCalls recorded(library.Module());
    TOKEN_PRIVILEGES change{.PrivilegeCount = 1, .Privileges = {}};
    ::LookupPrivilegeValueW(nullptr, L"SeBackupPrivilege", &change.Privileges[0].Luid);

    Adjust(change);
    change.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    Adjust(change);

    EXPECT_THAT(Lines(recorded),
                ElementsAre(L"AdjustTokenPrivileges (otherwise)|SeBackupPrivilege|",
                            L"AdjustTokenPrivileges (enable)|SeBackupPrivilege|"));
}

// How the names of Windows functions that change something begin.
constexpr std::string_view kVerbs[] = {
    "Add",   "Adjust",    "CM_",    "Copy",    "Create",  "Delete", "Move",  "Open",
    "Reg",   "Remove",    "Rename", "Replace", "SH",      "Set",    "Setup", "Shell",
    "Start", "Terminate", "Write",  "bind",    "connect", "listen", "send"};

// Of these, the ones that change nothing outside the process.
constexpr const char* kWithinTheProcess[] = {
    "AddVectoredExceptionHandler",
    "CreateEventA",
    "CreateEventW",
    "CreateSemaphoreA",
    "CreateSemaphoreW",
    "CreateThread",
    "CreateToolhelp32Snapshot",
    "DeleteCriticalSection",
    "RemoveVectoredExceptionHandler",
    "SHGetSpecialFolderPathW",
    "SetEntriesInAclW",
    "SetEvent",
    "SetLastError",
    "SetProcessAffinityMask",
    "SetThreadAffinityMask",
    "SetThreadContext",
    "SetThreadPriority",
};

TEST_F(RecordedCallsTest, AreThoseOfEveryImportThatCanChangeTheSystem) {
    const std::set<std::string> recorded = RecordedCalls(library.Module()).Functions();

    std::vector<std::string> unseen;
    ImportPatch::VisitImports(library.Module(), [&](std::string_view name, void**) {
        const bool changes = std::ranges::any_of(
            kVerbs, [&](std::string_view verb) { return name.starts_with(verb); });
        if (changes && !recorded.contains(std::string(name))) unseen.emplace_back(name);
    });

    EXPECT_THAT(unseen, IsSubsetOf(kWithinTheProcess));
}

}  // namespace
