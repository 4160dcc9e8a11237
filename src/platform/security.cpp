#include "platform/security.h"

#include <accctrl.h>
#include <aclapi.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string>

#include "platform/unique_handle.h"

namespace {

UniqueSid MakeSid(SID_IDENTIFIER_AUTHORITY authority, std::initializer_list<DWORD> subAuthorities) {
    std::array<DWORD, 8> sub{};
    std::copy(subAuthorities.begin(), subAuthorities.end(), sub.begin());
    UniqueSid sid;
    if (!::AllocateAndInitializeSid(&authority, static_cast<BYTE>(subAuthorities.size()), sub[0],
                                    sub[1], sub[2], sub[3], sub[4], sub[5], sub[6], sub[7],
                                    sid.Receive())) {
        // What a failed call stores there is not to be freed.
        (void)sid.Detach();
    }
    return sid;
}

EXPLICIT_ACCESS_W Allow(PSID sid, TRUSTEE_TYPE type, DWORD permissions) {
    EXPLICIT_ACCESS_W entry{};
    entry.grfAccessPermissions = permissions;
    entry.grfAccessMode = SET_ACCESS;
    entry.grfInheritance = NO_INHERITANCE;
    entry.Trustee.MultipleTrusteeOperation = NO_MULTIPLE_TRUSTEE;
    entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    entry.Trustee.TrusteeType = type;
    entry.Trustee.ptstrName = static_cast<LPWSTR>(sid);
    return entry;
}

UniqueLocal<ACL> MakeAccessList(PSID everyone, PSID administrators) {
    std::array entries{Allow(everyone, TRUSTEE_IS_WELL_KNOWN_GROUP, GENERIC_READ),
                       Allow(administrators, TRUSTEE_IS_GROUP, GENERIC_ALL)};
    UniqueLocal<ACL> list;
    if (::SetEntriesInAclW(entries.size(), entries.data(), nullptr, list.Receive()) !=
        ERROR_SUCCESS) {
        (void)list.Detach();
    }
    return list;
}

DWORD SetAccessList(std::wstring& path, ACL* list) {
    return ::SetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                   nullptr, list, nullptr);
}

DWORD SetOwner(std::wstring& path, PSID owner) {
    return ::SetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, owner,
                                   nullptr, nullptr, nullptr);
}

// Opens `token` for it. The caller closes it.
bool TakeOwnership(std::wstring& path, PSID owner, UniqueHandle& token) {
    constexpr const wchar_t* privilege = L"SeTakeOwnershipPrivilege";
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, token.Receive())) {
        (void)token.Detach();
        return false;
    }
    if (SetPrivilege(token.Get(), privilege, TRUE) == 0) return false;
    // When this fails, the privilege stays enabled. No result reports that a folder kept its owner,
    // but a host can see it by the enabled privilege in its token.
    if (SetOwner(path, owner) != ERROR_SUCCESS) return false;
    return SetPrivilege(token.Get(), privilege, FALSE) != 0;
}

}  // namespace

std::int32_t SetPrivilege(HANDLE token, const wchar_t* name, std::int32_t enable) {
    TOKEN_PRIVILEGES privileges{};
    static_assert(sizeof(privileges) == 16);
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = enable != 0 ? SE_PRIVILEGE_ENABLED : 0;
    if (!::LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid)) return 0;
    if (!::AdjustTokenPrivileges(token, FALSE, &privileges, sizeof(privileges), nullptr, nullptr))
        return 0;
    // For a privilege that the token does not have, the call succeeds and sets this error code.
    return ::GetLastError() == ERROR_NOT_ALL_ASSIGNED ? 0 : 1;
}

std::int32_t GrantFolderAccess(const wchar_t* path) {
    // Released from the last to the first, so the token is open during both attempts.
    UniqueHandle token;
    UniqueLocal<ACL> list;
    const UniqueSid everyone = MakeSid(SECURITY_WORLD_SID_AUTHORITY, {SECURITY_WORLD_RID});
    if (!everyone) return 0;
    const UniqueSid administrators =
        MakeSid(SECURITY_NT_AUTHORITY, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS});
    if (!administrators) return 0;
    list = MakeAccessList(everyone.Get(), administrators.Get());
    if (!list) return 0;

    std::wstring object = path;  // not const, because SetNamedSecurityInfoW takes a writable string
    DWORD result = SetAccessList(object, list.Get());
    if (result == ERROR_ACCESS_DENIED && TakeOwnership(object, administrators.Get(), token)) {
        result = SetAccessList(object, list.Get());
    }
    return result == ERROR_SUCCESS ? 1 : 0;
}
