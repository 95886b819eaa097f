// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LOCK_H
#define NAVO_LOCK_H

#include "base.h"

// Whole-file advisory locks between processes (and between descriptors of one process). The lock
// belongs to the descriptor that is handed out; a process that dies gives it back, and programs
// that it starts never inherit it.

// Takes the lock on the file at `path`, created empty with mode 0644 (less the umask) when it is
// missing, but not where a link leads. A shared lock needs permission to read the file, an
// exclusive one to read and write it.
//
// `exclusive`: 0 shares the lock with other readers, 1 excludes everybody else.
// `timeoutSecs`: how long to wait for a contended lock, in seconds; 0 or less tries once.
// `descriptor`: receives the descriptor that holds the lock; untouched on failure. It is closed by
// NLIBCFileUnlockByFile.
//
// The lock is held on the file that lies at `path` when the call returns, also when that file was
// replaced while waiting. Blocks the calling thread until the lock is taken or the time is up.
// Returns 1 on success, else 0 with errno and NAVO_ERR_LOCK_TIMEOUT (EAGAIN), NAVO_ERR_OPEN_FAILED,
// NAVO_ERR_LOCK_FAILED or NAVO_ERR_BAD_PARAMETERS.
NAVO_API int NLIBCFileLockTimeByFile(const char* path, int exclusive, int timeoutSecs,
                                     int* descriptor);

// Gives back the lock that `descriptor` holds and closes it.
// Returns 0, or -1 with errno and NAVO_ERR_LOCK_FAILED when it is not an open descriptor.
NAVO_API int NLIBCFileUnlockByFile(int descriptor);

#endif
