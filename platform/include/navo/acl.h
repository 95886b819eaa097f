// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_ACL_H
#define NAVO_ACL_H

#include "base.h"

// Who may do what with a file: the kernel's answers.

// Bits of a permission mask.
inline constexpr unsigned NAVO_ACL_READ = 0x4;
inline constexpr unsigned NAVO_ACL_WRITE = 0x2;
inline constexpr unsigned NAVO_ACL_EXECUTE = 0x1;

// Makes the process act as the account `user`: sets its effective user and group and its
// supplementary groups to the account's. Only root may call it.
//
// `user`: the account's name as the server knows it (see navo/user.h), such as "ann" or "CORP\ann".
// `canReturn`: true leaves the real and saved ids as they are, so that a process whose real or
// saved user is root can become root again; false replaces them too, for good. In either case a
// caller that wants its supplementary groups back must store them before the call.
//
// Returns true, or false with errno and the last error NAVO_ERR_BAD_PARAMETERS (no name),
// NAVO_ERR_NO_SUCH_USER or NAVO_ERR_NO_PERMISSION (the kernel refuses); after the last, the groups
// may be the account's already. Changes the ids of all threads of the process.
NAVO_API bool ResetCredentialsByName(const char* user, bool canReturn);

// Sets `mask` to what the effective ids may do with the file at `path` (NAVO_ACL_… bits); follows
// symbolic links. The kernel itself answers, so POSIX access control lists, the permissions of the
// folders above, a read-only file system and root's rights all count.
//
// Returns 0, or -1 with `mask` untouched, errno and the last error NAVO_ERR_BAD_PARAMETERS (no
// path or no mask), NAVO_ERR_NO_PERMISSION (a folder above may not be searched) or NAVO_ERR_IO (no
// such file, or it cannot be examined; ENOSYS on a kernel before 5.8, which lacks the system call).
NAVO_API int NAVOACLPermGet(const char* path, unsigned* mask);

#endif
