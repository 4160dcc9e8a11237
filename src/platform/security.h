#pragma once

#include <windows.h>

#include <cstdint>

// Rights of this process and of folders. The functions change the process's token and the security
// of folders without a lock, so a process runs one repair at a time.

// Enables (`enable` not 0) or disables the privilege `name` in `token`, which must be open for
// TOKEN_ADJUST_PRIVILEGES. Returns 1 on success and 0 on failure. It is a failure when the token
// does not have the privilege at all.
std::int32_t SetPrivilege(HANDLE token, const wchar_t* name, std::int32_t enable);

// Replaces the access list of the file or folder at `path` by two entries: everyone may read, and
// the Administrators group may do everything. Entries inherited from the parent folder stay. When
// Windows denies access, makes the Administrators group the owner and tries once more. For that it
// enables SeTakeOwnershipPrivilege and disables it again, except when the owner cannot be changed.
// Returns 1 when the new list is in place and 0 otherwise.
std::int32_t GrantFolderAccess(const wchar_t* path);
