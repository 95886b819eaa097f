// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_EXEC_H
#define NAVO_EXEC_H

#include "base.h"

// Run programs. A program gets its arguments one by one as they stand: no shell interprets them,
// and PATH is not searched. The child process starts with every signal at its default and
// unblocked, with standard input at /dev/null and with no file descriptor of the caller except
// those named below.
//
// All three block until the program has ended, even when a signal interrupts the wait. Several
// threads may call them at once. A program that a signal ended counts as one that could not be
// waited for. They also work in a process that ignores SIGCHLD: they set it to its default
// meanwhile. A process that collects children which it has not started itself takes their exit
// status away from these operations.

// Runs `program` (absolute path) with `argv`, a null-terminated array whose first element is the
// program's own name. Standard output goes to /dev/null (a loader's standard output is its reply
// to a client); standard error is the caller's.
//
// `wait`: if not 0, waits for the program's end and returns its exit status, 0 to 255. If 0,
// returns 0 as soon as the program has started; a later call of one of these three collects its
// exit status.
// Returns -1 when the program could not be started or waited for; errno tells why (EINTR for a
// program that a signal ended) and the last error is NAVO_ERR_EXEC_FAILED.
NAVO_API int NLIBCExecv(const char* program, char* const argv[], int wait);

// Lends the open file `descriptor` to the programs that this thread starts from now on, which hold
// it, as descriptor 3, until they end; -1 ends that. So they share a lock on the file with the
// caller, and the lock outlives a caller that dies before them. The caller keeps the descriptor.
NAVO_API void NLIBCExecLend(int descriptor);

// How NLIBCExecl is to run its program: bits that may be combined.
enum NLIBCExecOption : int {
    NLIBC_EXEC_WAIT = 0x01,             // wait for the end
    NLIBC_EXEC_QUIET_STDOUT = 0x02,     // standard output to /dev/null
    NLIBC_EXEC_STDIN_NULL = 0x08,       // standard input from /dev/null
    NLIBC_EXEC_DEFAULT_SIGNALS = 0x10,  // signals at their defaults
    NLIBC_EXEC_QUIET_STDERR = 0x20,     // standard error to /dev/null
    NLIBC_EXEC_CLOSE_FDS = 0x80,        // no other file descriptor of the caller
    NLIBC_EXEC_QUIETLY = 187            // all of them: wait, and discard all output
};

// Runs `program` (absolute path) with the arguments that follow `options`, up to a null pointer;
// puts the program's own name in front of them. `options` must be NLIBC_EXEC_QUIETLY (187).
//
// Returns the exit status, 0 to 255, or -1 when the program could not be started or waited for,
// with errno and the last error as for NLIBCExecv. Returns -1 with NAVO_ERR_BAD_PARAMETERS and
// EINVAL for any other value of `options`.
NAVO_API int NLIBCExecl(const char* program, int options, ... /* , nullptr */)
    __attribute__((sentinel));

// Runs `program` (absolute path) with up to four arguments; the first null pointer among them ends
// the list. Standard output goes to /dev/null; standard error is the caller's. Returns the exit
// status or -1, as NLIBCExecl does.
NAVO_API int NLIBCExec(const char* program, const char* argument1, const char* argument2,
                       const char* argument3, const char* argument4);

#endif
