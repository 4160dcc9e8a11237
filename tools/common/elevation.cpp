#include "common/elevation.h"

#include <windows.h>

#include "platform/unique_handle.h"

namespace tools {

bool IsElevated() {
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
    UniqueSid administrators;
    if (!::AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID,
                                    DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0,
                                    administrators.Receive())) {
        return false;
    }
    // A user who is an administrator but runs without elevation has a token in which the group is
    // for denying only. CheckTokenMembership does not count such a group.
    BOOL isMember = FALSE;
    return ::CheckTokenMembership(nullptr, administrators.Get(), &isMember) && isMember;
}

}  // namespace tools
