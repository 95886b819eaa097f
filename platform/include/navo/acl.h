// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_ACL_H
#define NAVO_ACL_H

#include "base.h"

// Who may do what with a file, as the kernel has it.

// Bits of a permission mask.
inline constexpr unsigned NAVO_ACL_READ = 0x4;
inline constexpr unsigned NAVO_ACL_WRITE = 0x2;
inline constexpr unsigned NAVO_ACL_EXECUTE = 0x1;

// Makes the process act as the account `user`: its effective user and group and its supplementary
// groups become the account's. Only root may call it.
//
// `user`: the account's name as the server knows it (see navo/user.h), such as "ann" or "CORP\ann".
// `canReturn`: true leaves the real and saved ids alone, so that a process that has root there can
// take it back; false replaces them too, for good. The supplementary groups are the caller's to
// remember in either case.
// Returns false with errno and NAVO_ERR_BAD_PARAMETERS (no name), NAVO_ERR_NO_SUCH_USER or
// NAVO_ERR_NO_PERMISSION (the kernel refuses); after the last, the groups may be the account's
// already. Concerns every thread of the process.
NAVO_API bool ResetCredentialsByName(const char* user, bool canReturn);

// Fills `mask` with what the effective ids may do with the file at `path` (NAVO_ACL_… bits),
// symbolic links followed. It is the kernel's own answer, so POSIX access control lists, the
// permissions of the folders above, a read-only file system and root's rights all count.
//
// Returns 0, or -1 with `mask` untouched, errno and NAVO_ERR_BAD_PARAMETERS (no path),
// NAVO_ERR_NO_PERMISSION (a folder above may not be searched) or NAVO_ERR_IO (no such file, or it
// cannot be looked at; ENOSYS on a kernel before 5.8, which has no such question).
NAVO_API int NAVOACLPermGet(const char* path, unsigned* mask);

#endif
