#include "platform/processes.h"

#include <windows.h>
#include <tlhelp32.h>

#include <gmock/gmock.h>

#include <cwchar>
#include <vector>

#include "support/child_process.h"
#include "support/fake_api.h"
#include "support/temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class KillWerFaultForReal : public testing::Test {
protected:
    // Copies the sleeper under this name and returns its command line.
    std::wstring Program(const wchar_t* name) {
        std::filesystem::copy_file(ProgramFolder() + L"\\sleeper.exe", folder / name);
        return folder / name;
    }

    TemporaryFolder folder;
};

TEST_F(KillWerFaultForReal, EndsEveryCrashReporterWithCode9) {
    const std::wstring program = Program(L"WerFault.exe");
    const ChildProcess first(program);
    const ChildProcess second(program);

    KillWerFault();

    EXPECT_EQ(9u, first.ExitCode());
    EXPECT_EQ(9u, second.ExitCode());
}

TEST_F(KillWerFaultForReal, LeavesProgramsWithSimilarNamesAlone) {
    const ChildProcess lowerCase(Program(L"werfault.exe"));
    const ChildProcess longer(Program(L"WerFault.exe.exe"));
    const ChildProcess prefixed(Program(L"MyWerFault.exe"));

    KillWerFault();
    ::Sleep(100);

    EXPECT_TRUE(lowerCase.IsRunning());
    EXPECT_TRUE(longer.IsRunning());
    EXPECT_TRUE(prefixed.IsRunning());
}

TEST_F(KillWerFaultForReal, DoesNothingWhereNoCrashReporterRuns) {
    KillWerFault();
}

// Replaces the process list with one that the test fills.
class KillWerFaultOnAFakeList : public testing::Test {
protected:
    struct Process {
        const wchar_t* name;
        DWORD id;
    };

    BOOL Entry(PROCESSENTRY32W* entry) {
        sizesSeen.push_back(entry->dwSize);
        if (position == list.size()) return FALSE;
        std::wcscpy(entry->szExeFile, list[position].name);
        entry->th32ProcessID = list[position].id;
        ++position;
        return TRUE;
    }

    static HANDLE AsHandle(DWORD value) {
        return reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(value));
    }

    std::vector<Process> list;
    std::size_t position = 0;
    HANDLE snapshotHandle = AsHandle(0x1000);
    std::vector<DWORD> sizesSeen;
    std::vector<DWORD> opened;
    std::vector<HANDLE> ended;
    std::vector<HANDLE> closed;
    bool mayOpen = true;
    DWORD flags = 0, ofProcess = 1, access = 0;
    BOOL inherit = TRUE;
    UINT exitCode = 0;

    FakeApi<"CreateToolhelp32Snapshot", decltype(::CreateToolhelp32Snapshot)> snapshot{
        [this](DWORD what, DWORD process) {
            flags = what;
            ofProcess = process;
            return snapshotHandle;
        }};
    FakeApi<"Process32FirstW", decltype(::Process32FirstW)> first{
        [this](HANDLE, PROCESSENTRY32W* entry) { return Entry(entry); }};
    FakeApi<"Process32NextW", decltype(::Process32NextW)> next{
        [this](HANDLE, PROCESSENTRY32W* entry) { return Entry(entry); }};
    FakeApi<"OpenProcess", decltype(::OpenProcess)> open{
        [this](DWORD rights, BOOL inherited, DWORD id) {
            access = rights;
            inherit = inherited;
            opened.push_back(id);
            return mayOpen ? AsHandle(id) : nullptr;
        }};
    FakeApi<"TerminateProcess", decltype(::TerminateProcess)> terminate{
        [this](HANDLE process, UINT code) {
            ended.push_back(process);
            exitCode = code;
            return FALSE;
        }};
    FakeApi<"CloseHandle", decltype(::CloseHandle)> close{[this](HANDLE handle) {
        closed.push_back(handle);
        return TRUE;
    }};
};

TEST_F(KillWerFaultOnAFakeList, TakesASnapshotOfTheWholeSystem) {
    KillWerFault();

    EXPECT_EQ(0xFu, flags);
    EXPECT_EQ(0u, ofProcess);
}

TEST_F(KillWerFaultOnAFakeList, SetsTheSizeOfTheEntry) {
    KillWerFault();

    EXPECT_THAT(sizesSeen, ElementsAre(556u));
}

TEST_F(KillWerFaultOnAFakeList, OpensOnlyMatchingProcessesAndOnlyToEndThem) {
    list = {
        {L"System", 4}, {L"WerFault.exe", 0x20}, {L"WERFAULT.EXE", 0x24}, {L"WerFault.exe", 0x28}};

    KillWerFault();

    EXPECT_THAT(opened, ElementsAre(0x20u, 0x28u));
    EXPECT_EQ(1u, access);
    EXPECT_EQ(FALSE, inherit);
    EXPECT_THAT(ended, ElementsAre(AsHandle(0x20), AsHandle(0x28)));
    EXPECT_EQ(9u, exitCode);
}

TEST_F(KillWerFaultOnAFakeList, ClosesEveryProcessAndThenTheSnapshotEvenWhenEndingFails) {
    list = {{L"WerFault.exe", 0x20}, {L"WerFault.exe", 0x28}};

    KillWerFault();

    EXPECT_THAT(closed, ElementsAre(AsHandle(0x20), AsHandle(0x28), snapshotHandle));
}

TEST_F(KillWerFaultOnAFakeList, ContinuesAfterAProcessThatCannotBeOpened) {
    list = {{L"WerFault.exe", 0x20}, {L"WerFault.exe", 0x28}};
    mayOpen = false;

    KillWerFault();

    EXPECT_THAT(opened, ElementsAre(0x20u, 0x28u));
    EXPECT_THAT(ended, IsEmpty());
    EXPECT_THAT(closed, ElementsAre(snapshotHandle));
}

TEST_F(KillWerFaultOnAFakeList, EndsNothingWithoutASnapshot) {
    snapshotHandle = INVALID_HANDLE_VALUE;

    KillWerFault();

    EXPECT_THAT(opened, IsEmpty());
    EXPECT_EQ(1u, sizesSeen.size());
}

}  // namespace
