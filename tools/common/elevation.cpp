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
    // An administrator who has not elevated has a token in which the group only denies. Such a
    // group does not count as membership.
    BOOL isMember = FALSE;
    return ::CheckTokenMembership(nullptr, administrators.Get(), &isMember) && isMember;
}

}  // namespace tools
