#include "platform/security.h"

#include <aclapi.h>
#include <sddl.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/unique_handle.h"
#include "support/fake_api.h"
#include "support/temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string SidText(PSID sid) {
    char* text = nullptr;
    ::ConvertSidToStringSidA(sid, &text);
    const UniqueLocal<char> owner(text);
    return text;
}

bool IsEnabled(HANDLE token, const wchar_t* name) {
    LUID id{};
    ::LookupPrivilegeValueW(nullptr, name, &id);
    alignas(TOKEN_PRIVILEGES) BYTE buffer[4096] = {};
    DWORD size = 0;
    ::GetTokenInformation(token, TokenPrivileges, buffer, sizeof(buffer), &size);
    const auto* privileges = reinterpret_cast<TOKEN_PRIVILEGES*>(buffer);
    for (DWORD i = 0; i < privileges->PrivilegeCount; ++i) {
        const LUID_AND_ATTRIBUTES& privilege = privileges->Privileges[i];
        if (privilege.Luid.LowPart == id.LowPart && privilege.Luid.HighPart == id.HighPart) {
            return (privilege.Attributes & SE_PRIVILEGE_ENABLED) != 0;
        }
    }
    return false;
}

class SetPrivilegeTest : public testing::Test {
protected:
    SetPrivilegeTest() {
        ::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY,
                           token.Receive());
    }

    UniqueHandle token;
};

TEST_F(SetPrivilegeTest, EnablesAndDisablesAPrivilegeOfTheToken) {
    EXPECT_EQ(1, SetPrivilege(token.Get(), L"SeRestorePrivilege", 1));
    EXPECT_TRUE(IsEnabled(token.Get(), L"SeRestorePrivilege"));

    EXPECT_EQ(1, SetPrivilege(token.Get(), L"SeRestorePrivilege", 0));
    EXPECT_FALSE(IsEnabled(token.Get(), L"SeRestorePrivilege"));
}

TEST_F(SetPrivilegeTest, EnablesThePrivilegeForAnyFlagOtherThanZero) {
    EXPECT_EQ(1, SetPrivilege(token.Get(), L"SeBackupPrivilege", 0x100));
    EXPECT_TRUE(IsEnabled(token.Get(), L"SeBackupPrivilege"));
}

TEST_F(SetPrivilegeTest, FailsForAnUnknownPrivilege) {
    EXPECT_EQ(0, SetPrivilege(token.Get(), L"SeNoSuchPrivilege", 1));
}

TEST_F(SetPrivilegeTest, FailsForAPrivilegeThatTheTokenDoesNotHold) {
    EXPECT_EQ(0, SetPrivilege(token.Get(), L"SeCreateTokenPrivilege", 1));
}

TEST_F(SetPrivilegeTest, FailsWithoutAToken) {
    EXPECT_EQ(0, SetPrivilege(nullptr, L"SeBackupPrivilege", 1));
}

TEST_F(SetPrivilegeTest, AsksForExactlyOnePrivilegeAndNoPreviousState) {
    struct {
        HANDLE token;
        BOOL disableAll;
        TOKEN_PRIVILEGES privileges;
        DWORD size;
        const void* previous;
        const DWORD* previousSize;
    } seen{};
    const FakeApi<"LookupPrivilegeValueW", decltype(::LookupPrivilegeValueW)> lookup(
        [](const wchar_t* system, const wchar_t*, LUID* id) {
            EXPECT_EQ(nullptr, system);
            *id = {0x11, 0x22};
            return TRUE;
        });
    const FakeApi<"AdjustTokenPrivileges", decltype(::AdjustTokenPrivileges)> adjust(
        [&](HANDLE from, BOOL all, TOKEN_PRIVILEGES* privileges, DWORD size,
            TOKEN_PRIVILEGES* previous, DWORD* previousSize) {
            seen = {from, all, *privileges, size, previous, previousSize};
            ::SetLastError(ERROR_SUCCESS);
            return TRUE;
        });

    EXPECT_EQ(1, SetPrivilege(token.Get(), L"SeBackupPrivilege", 1));

    EXPECT_EQ(token.Get(), seen.token);
    EXPECT_EQ(FALSE, seen.disableAll);
    EXPECT_EQ(1u, seen.privileges.PrivilegeCount);
    EXPECT_EQ(0x11u, seen.privileges.Privileges[0].Luid.LowPart);
    EXPECT_EQ(0x22, seen.privileges.Privileges[0].Luid.HighPart);
    EXPECT_EQ(2u, seen.privileges.Privileges[0].Attributes);
    EXPECT_EQ(16u, seen.size);
    EXPECT_EQ(nullptr, seen.previous);
    EXPECT_EQ(nullptr, seen.previousSize);

    SetPrivilege(token.Get(), L"SeBackupPrivilege", 0);

    EXPECT_EQ(0u, seen.privileges.Privileges[0].Attributes);
}

TEST_F(SetPrivilegeTest, FailsWhenTheSystemRefuses) {
    const FakeApi<"AdjustTokenPrivileges", decltype(::AdjustTokenPrivileges)> refused(
        [](HANDLE, BOOL, TOKEN_PRIVILEGES*, DWORD, TOKEN_PRIVILEGES*, DWORD*) {
            ::SetLastError(ERROR_SUCCESS);
            return FALSE;
        });

    EXPECT_EQ(0, SetPrivilege(token.Get(), L"SeBackupPrivilege", 1));
}

TEST_F(SetPrivilegeTest, TreatsOnlyNotAllAssignedAsAFailureOfASuccessfulCall) {
    DWORD lastError = 0;
    const FakeApi<"AdjustTokenPrivileges", decltype(::AdjustTokenPrivileges)> adjust(
        [&](HANDLE, BOOL, TOKEN_PRIVILEGES*, DWORD, TOKEN_PRIVILEGES*, DWORD*) {
            ::SetLastError(lastError);
            return TRUE;
        });

    lastError = 1300;
    EXPECT_EQ(0, SetPrivilege(token.Get(), L"SeBackupPrivilege", 1));
    lastError = 5;
    EXPECT_EQ(1, SetPrivilege(token.Get(), L"SeBackupPrivilege", 1));
}

TEST(GrantFolderAccessForReal, SetsAnAccessListAndLeavesTheOwner) {
    const TemporaryFolder folder;

    EXPECT_EQ(1, GrantFolderAccess(folder.Path().c_str()));

    // Wine keeps of a list only what fits a Unix mode, so the entries are not compared.
    UniqueLocal<void> descriptor;
    ACL* list = nullptr;
    ASSERT_EQ(0u, ::GetNamedSecurityInfoW(folder.Path().c_str(), SE_FILE_OBJECT,
                                          DACL_SECURITY_INFORMATION, nullptr, nullptr, &list,
                                          nullptr, descriptor.Receive()));
    ASSERT_NE(nullptr, list);
    EXPECT_GE(list->AceCount, 2);
}

TEST(GrantFolderAccessForReal, FailsForAMissingFolder) {
    const TemporaryFolder folder;

    EXPECT_EQ(0, GrantFolderAccess((folder / L"nothing").c_str()));
}

TEST(GrantFolderAccessForReal, LeaksNoHandle) {
    const TemporaryFolder folder;
    DWORD before = 0, after = 0;
    GrantFolderAccess(folder.Path().c_str());
    ::GetProcessHandleCount(::GetCurrentProcess(), &before);

    for (int i = 0; i < 50; ++i) GrantFolderAccess(folder.Path().c_str());

    ::GetProcessHandleCount(::GetCurrentProcess(), &after);
    EXPECT_EQ(before, after);
}

// Records the system calls and answers them as the test chooses.
class GrantFolderAccessTest : public testing::Test {
protected:
    struct Entry {
        DWORD permissions;
        ACCESS_MODE mode;
        DWORD inheritance;
        MULTIPLE_TRUSTEE_OPERATION multiple;
        TRUSTEE* multipleTrustee;
        TRUSTEE_FORM form;
        TRUSTEE_TYPE type;
        std::string sid;
        bool operator==(const Entry&) const = default;
    };

    std::int32_t Grant() { return GrantFolderAccess(L"C:\\store"); }

    DWORD OnSetSecurity(const std::wstring& path, SE_OBJECT_TYPE type, SECURITY_INFORMATION what,
                        PSID owner, PSID group, ACL* dacl, ACL* sacl) {
        EXPECT_EQ(L"C:\\store", path);
        EXPECT_EQ(SE_FILE_OBJECT, type);
        EXPECT_EQ(nullptr, group);
        EXPECT_EQ(nullptr, sacl);
        if (what == OWNER_SECURITY_INFORMATION) {
            EXPECT_EQ(nullptr, dacl);
            Note("owner " + SidText(owner));
            return ownerResult;
        }
        EXPECT_EQ(DWORD{DACL_SECURITY_INFORMATION}, what);
        EXPECT_EQ(nullptr, owner);
        EXPECT_EQ(newList, dacl);
        Note("access");
        const DWORD result = accessResults.front();
        if (accessResults.size() > 1) accessResults.erase(accessResults.begin());
        return result;
    }

    BOOL OnAdjust(TOKEN_PRIVILEGES* privileges) {
        const bool enable = privileges->Privileges[0].Attributes != 0;
        Note(enable ? "enable" : "disable");
        ::SetLastError(ERROR_SUCCESS);
        return enable ? mayEnable : mayDisable;
    }

    void Note(const std::string& call) {
        calls.push_back(call);
        everything.push_back(call);
    }

    std::vector<std::string> calls;       // without the clean-up
    std::vector<std::string> everything;  // with the clean-up
    std::vector<Entry> entries;
    std::vector<DWORD> accessResults{ERROR_SUCCESS};
    DWORD ownerResult = ERROR_SUCCESS;
    DWORD entriesResult = ERROR_SUCCESS;
    BOOL mayEnable = TRUE, mayDisable = TRUE, mayOpenToken = TRUE;
    int sidsToGive = 2;
    int sidsHeld = 0;
    ACL* newList = nullptr;
    int listsFreed = 0;
    SID leftBehind{};  // what a failed call leaves in its result, not to be freed
    ACL listLeftBehind{};
    int tokenLeftBehind = 0;
    HANDLE openedToken = nullptr;
    DWORD tokenAccess = 0;
    std::wstring privilegeName;

    FakeApi<"AllocateAndInitializeSid", decltype(::AllocateAndInitializeSid)> allocateSid{
        [this](SID_IDENTIFIER_AUTHORITY* authority, BYTE count, DWORD a, DWORD b, DWORD c, DWORD d,
               DWORD e, DWORD f, DWORD g, DWORD h, PSID* sid) {
            if (sidsToGive-- == 0) {
                *sid = &leftBehind;
                return FALSE;
            }
            ++sidsHeld;
            return allocateSid.Real(authority, count, a, b, c, d, e, f, g, h, sid);
        }};
    FakeApi<"FreeSid", decltype(::FreeSid)> freeSid{[this](PSID sid) {
        --sidsHeld;
        everything.push_back("free " + SidText(sid));
        return sid == &leftBehind ? nullptr : freeSid.Real(sid);
    }};
    FakeApi<"SetEntriesInAclW", decltype(::SetEntriesInAclW)> setEntries{
        [this](ULONG count, EXPLICIT_ACCESS_W* list, ACL* old, ACL** made) {
            EXPECT_EQ(nullptr, old);
            for (ULONG i = 0; i < count; ++i) {
                const TRUSTEE_W& trustee = list[i].Trustee;
                entries.push_back({list[i].grfAccessPermissions, list[i].grfAccessMode,
                                   list[i].grfInheritance, trustee.MultipleTrusteeOperation,
                                   trustee.pMultipleTrustee, trustee.TrusteeForm,
                                   trustee.TrusteeType, SidText(trustee.ptstrName)});
            }
            if (entriesResult != ERROR_SUCCESS) {
                *made = &listLeftBehind;
                return entriesResult;
            }
            newList = *made = static_cast<ACL*>(::LocalAlloc(LPTR, sizeof(ACL)));
            return entriesResult;
        }};
    FakeApi<"LocalFree", decltype(::LocalFree)> localFree{[this](HLOCAL memory) {
        if (memory != nullptr && memory == newList) {
            ++listsFreed;
            everything.emplace_back("free list");
            newList = nullptr;
        }
        return localFree.Real(memory);
    }};
    FakeApi<"CloseHandle", decltype(::CloseHandle)> closeHandle{[this](HANDLE handle) {
        if (handle != nullptr && handle == openedToken) everything.emplace_back("close token");
        return handle == &tokenLeftBehind ? FALSE : closeHandle.Real(handle);
    }};
    FakeApi<"SetNamedSecurityInfoW", decltype(::SetNamedSecurityInfoW)> setSecurity{
        [this](wchar_t* path, SE_OBJECT_TYPE type, SECURITY_INFORMATION what, PSID owner,
               PSID group, ACL* dacl,
               ACL* sacl) { return OnSetSecurity(path, type, what, owner, group, dacl, sacl); }};
    FakeApi<"OpenProcessToken", decltype(::OpenProcessToken)> openToken{
        [this](HANDLE process, DWORD access, HANDLE* token) {
            Note("token");
            tokenAccess = access;
            const BOOL opened = mayOpenToken && openToken.Real(process, access, token);
            if (!opened) *token = &tokenLeftBehind;
            openedToken = *token;
            return opened;
        }};
    FakeApi<"LookupPrivilegeValueW", decltype(::LookupPrivilegeValueW)> lookup{
        [this](const wchar_t* system, const wchar_t* name, LUID* id) {
            privilegeName = name;
            return lookup.Real(system, name, id);
        }};
    FakeApi<"AdjustTokenPrivileges", decltype(::AdjustTokenPrivileges)> adjust{
        [this](HANDLE, BOOL, TOKEN_PRIVILEGES* privileges, DWORD, TOKEN_PRIVILEGES*, DWORD*) {
            return OnAdjust(privileges);
        }};
};

TEST_F(GrantFolderAccessTest, GrantsReadToEveryoneAndFullControlToTheAdministratorsInThisOrder) {
    EXPECT_EQ(1, Grant());

    EXPECT_THAT(entries, ElementsAre(Entry{0x80000000, SET_ACCESS, 0, NO_MULTIPLE_TRUSTEE, nullptr,
                                           TRUSTEE_IS_SID, TRUSTEE_IS_WELL_KNOWN_GROUP, "S-1-1-0"},
                                     Entry{0x10000000, SET_ACCESS, 0, NO_MULTIPLE_TRUSTEE, nullptr,
                                           TRUSTEE_IS_SID, TRUSTEE_IS_GROUP, "S-1-5-32-544"}));
}

TEST_F(GrantFolderAccessTest, LeavesTheOwnerAloneWhenTheListCanBeSet) {
    EXPECT_EQ(1, Grant());

    EXPECT_THAT(calls, ElementsAre("access"));
}

TEST_F(GrantFolderAccessTest, GivesOwnershipToTheAdministratorsWhenDeniedAndTriesAgain) {
    accessResults = {ERROR_ACCESS_DENIED, ERROR_SUCCESS};

    EXPECT_EQ(1, Grant());

    EXPECT_THAT(
        calls, ElementsAre("access", "token", "enable", "owner S-1-5-32-544", "disable", "access"));
    EXPECT_EQ(0x20u, tokenAccess);
    EXPECT_EQ(L"SeTakeOwnershipPrivilege", privilegeName);
}

TEST_F(GrantFolderAccessTest, FailsWhenTheSecondAttemptFails) {
    accessResults = {ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED};

    EXPECT_EQ(0, Grant());

    EXPECT_EQ(6u, calls.size());
}

TEST_F(GrantFolderAccessTest, LeavesTheOwnerAloneAfterAnyOtherError) {
    accessResults = {ERROR_FILE_NOT_FOUND};

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(calls, ElementsAre("access"));
}

TEST_F(GrantFolderAccessTest, StopsWhenTheTokenCannotBeOpened) {
    accessResults = {ERROR_ACCESS_DENIED};
    mayOpenToken = FALSE;

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(calls, ElementsAre("access", "token"));
}

TEST_F(GrantFolderAccessTest, StopsWhenTheTokenLacksThePrivilege) {
    accessResults = {ERROR_ACCESS_DENIED};
    mayEnable = FALSE;

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(calls, ElementsAre("access", "token", "enable"));
}

TEST_F(GrantFolderAccessTest, LeavesThePrivilegeEnabledWhenTheOwnerCannotBeSet) {
    accessResults = {ERROR_ACCESS_DENIED};
    ownerResult = ERROR_INVALID_OWNER;

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(calls, ElementsAre("access", "token", "enable", "owner S-1-5-32-544"));
}

TEST_F(GrantFolderAccessTest, StopsWithoutTheRetryWhenThePrivilegeCannotBeDisabled) {
    accessResults = {ERROR_ACCESS_DENIED, ERROR_SUCCESS};
    mayDisable = FALSE;

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(calls, ElementsAre("access", "token", "enable", "owner S-1-5-32-544", "disable"));
}

TEST_F(GrantFolderAccessTest, FailsWithoutTheFirstSid) {
    sidsToGive = 0;

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(entries, IsEmpty());
    EXPECT_EQ(0, sidsHeld);
}

TEST_F(GrantFolderAccessTest, FailsWithoutTheSecondSidAndFreesTheFirst) {
    sidsToGive = 1;

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(entries, IsEmpty());
    EXPECT_EQ(0, sidsHeld);
}

TEST_F(GrantFolderAccessTest, FailsWithoutAnAccessList) {
    entriesResult = ERROR_INVALID_ACL;

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(0, sidsHeld);
}

TEST_F(GrantFolderAccessTest, FreesTheSidsAndTheListOnSuccessAndOnFailure) {
    Grant();
    EXPECT_EQ(0, sidsHeld);
    EXPECT_EQ(1, listsFreed);

    sidsToGive = 2;
    accessResults = {ERROR_FILE_NOT_FOUND};
    Grant();
    EXPECT_EQ(0, sidsHeld);
    EXPECT_EQ(2, listsFreed);
}

[[nodiscard]] auto BothAttemptsAndTheCleanUp() {
    return ElementsAre("access", "token", "enable", "owner S-1-5-32-544", "disable", "access",
                       "free S-1-5-32-544", "free S-1-1-0", "free list", "close token");
}

TEST_F(GrantFolderAccessTest, CleansUpInThisOrderAfterTheSecondAttempt) {
    accessResults = {ERROR_ACCESS_DENIED, ERROR_SUCCESS};

    EXPECT_EQ(1, Grant());

    EXPECT_THAT(everything, BothAttemptsAndTheCleanUp());
}

TEST_F(GrantFolderAccessTest, CleansUpInThisOrderAfterASecondAttemptThatFails) {
    accessResults = {ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED};

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(everything, BothAttemptsAndTheCleanUp());
}

TEST_F(GrantFolderAccessTest, CleansUpInThisOrderWhenTheTokenLacksThePrivilege) {
    accessResults = {ERROR_ACCESS_DENIED};
    mayEnable = FALSE;

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(everything, ElementsAre("access", "token", "enable", "free S-1-5-32-544",
                                        "free S-1-1-0", "free list", "close token"));
}

TEST_F(GrantFolderAccessTest, CleansUpInThisOrderWhenTheOwnerCannotBeSet) {
    accessResults = {ERROR_ACCESS_DENIED};
    ownerResult = ERROR_INVALID_OWNER;

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(everything,
                ElementsAre("access", "token", "enable", "owner S-1-5-32-544", "free S-1-5-32-544",
                            "free S-1-1-0", "free list", "close token"));
}

TEST_F(GrantFolderAccessTest, CleansUpInThisOrderWhenThePrivilegeCannotBeDisabled) {
    accessResults = {ERROR_ACCESS_DENIED};
    mayDisable = FALSE;

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(everything,
                ElementsAre("access", "token", "enable", "owner S-1-5-32-544", "disable",
                            "free S-1-5-32-544", "free S-1-1-0", "free list", "close token"));
}

TEST_F(GrantFolderAccessTest, ClosesNoTokenThatWasNotOpened) {
    accessResults = {ERROR_ACCESS_DENIED};
    mayOpenToken = FALSE;

    EXPECT_EQ(0, Grant());

    EXPECT_THAT(everything,
                ElementsAre("access", "token", "free S-1-5-32-544", "free S-1-1-0", "free list"));
}

}  // namespace
