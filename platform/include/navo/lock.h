// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LOCK_H
#define NAVO_LOCK_H

#include "base.h"

// Advisory locks on whole files between processes (and between file descriptors of one process).
// The lock belongs to the descriptor that NLIBCFileLockTimeByFile returns. A process that dies
// releases it; programs that the process starts never inherit it.

// Takes the lock on the file at `path`. Creates a missing file empty with mode 0600 (less the
// umask), but not through a symbolic link. Takes the permissions of other users (not those of the
// group) from an existing file of the caller's: who can open a file can lock it. A shared lock
// needs permission to read the file, an exclusive lock to read and write it.
//
// `exclusive`: 0 shares the lock with other readers; 1 excludes all others.
// `timeoutSecs`: how many seconds to wait for a lock that another holds; 0 or less tries once.
// `descriptor`: set to the file descriptor that holds the lock, untouched on failure. The caller
// passes it to NLIBCFileUnlockByFile, which closes it.
//
// Returns 1 on success, else 0 with errno and the last error NAVO_ERR_LOCK_TIMEOUT (EAGAIN),
// NAVO_ERR_OPEN_FAILED, NAVO_ERR_LOCK_FAILED or NAVO_ERR_BAD_PARAMETERS. The locked file is the one
// at `path` at the moment when the lock is taken, also when that file was replaced during the wait.
// Blocks the calling thread until the lock is taken or the time limit is reached.
NAVO_API int NLIBCFileLockTimeByFile(const char* path, int exclusive, int timeoutSecs,
                                     int* descriptor);

// Releases the lock that `descriptor` holds and closes the descriptor.
// Returns 0, or -1 with errno and the last error NAVO_ERR_LOCK_FAILED when it is not an open
// descriptor.
NAVO_API int NLIBCFileUnlockByFile(int descriptor);

#endif
