#pragma once

#include <windows.h>

#include <cstdint>

// Rights of this process and of folders. Both functions change state that the whole process or
// system sees, without locks: run one repair at a time.

// Enables (`enable` not 0) or disables the privilege `name` in `token`, which must be open for
// TOKEN_ADJUST_PRIVILEGES. Returns 1 when it is done and 0 otherwise; a privilege that the token
// does not hold at all counts as a failure.
std::int32_t SetPrivilege(HANDLE token, const wchar_t* name, std::int32_t enable);

// Replaces the access list of the file or folder at `path` by two entries: read for everyone, full
// access for the Administrators group; what the parent folder passes down stays. When the system
// denies that, the object's ownership is moved to the Administrators group and it is tried once
// more. Returns 1 when the new list is in place and 0 otherwise.
std::int32_t GrantFolderAccess(const wchar_t* path);
