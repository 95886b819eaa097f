// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_ERROR_H
#define NAVO_ERROR_H

#include "base.h"

// The platform's last error: what failed last in this thread, and where.
//
// Every operation of these headers that fails sets the last error and errno; one that succeeds
// leaves both as they were. When NLIBCFileExist and NLIBCFileCheckDir answer that nothing is there,
// they set errno alone. Each thread has its own last error; it starts as "no error" and is never
// cleared.

// What went wrong. The values never change: messages print them as 0x%04X.
enum NAVOError : int {
    NAVO_ERR_NONE = 0x0000,            // nothing has failed yet
    NAVO_ERR_BAD_PARAMETERS = 0x0D00,  // an argument that the operation refuses
    NAVO_ERR_OPEN_FAILED = 0x0900,     // a file cannot be opened or created
    NAVO_ERR_NO_PERMISSION = 0x0A00,   // the kernel or the operation forbids it
    NAVO_ERR_LOCK_TIMEOUT = 0x2100,    // a lock is not free within the time limit
    NAVO_ERR_LOCK_FAILED = 0x2200,     // a lock cannot be taken or released
    NAVO_ERR_NO_SUCH_SHARE = 0x1400,   // the configuration has no such share
    NAVO_ERR_NO_SUCH_USER = 0x1D00,    // the name service has no such account
    NAVO_ERR_NO_SUCH_GROUP = 0x1E00,   // the name service has no such group
    NAVO_ERR_CONFIG = 0x0500,          // a configuration file cannot be read or understood
    NAVO_ERR_IO = 0x0300,              // another failure with a file
    NAVO_ERR_EXEC_FAILED = 0x0600,     // a program cannot be started or waited for
    NAVO_ERR_NAME_TOO_LONG = 0x0E00    // a name does not fit into its buffer
};

// Returns the code of this thread's last error; NAVO_ERR_NONE when there was none.
NAVO_API int NLIBCErrGet();

// Returns the platform source file that reported this error, as a base name such as "lock.cpp"; ""
// when there was none. The text is static: the caller must not free it.
NAVO_API const char* NLIBCErrorGetFile();

// Returns the line in that file; 0 when there was no error.
NAVO_API int NLIBCErrorGetLine();

#endif
