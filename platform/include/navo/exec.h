// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_EXEC_H
#define NAVO_EXEC_H

#include "base.h"

// Running programs. Arguments go to the program one by one as they stand: there is no shell and
// no search path. The child starts with every signal at its default and unblocked, with standard
// input at /dev/null and with no descriptor of the caller's but the ones named below.
//
// All three block until the program has ended, also through signals, and may be used from several
// threads. A program that a signal ended counts as one that could not be waited for. They work too
// in a process that ignores SIGCHLD, which is at its default meanwhile; a process that collects
// children which it has not started itself takes the exit status away from them.

// Runs `program` (absolute path) with `argv`, a null-terminated array whose first element is the
// program's own name. Standard output goes to /dev/null (a loader's standard output is its reply
// to a client), standard error is the caller's.
//
// `wait`: not 0 waits for the end and returns the exit status, 0 to 255; 0 returns 0 as soon as
// the program has started; when it has ended, a later call of these three collects it.
// Returns -1 when the program could not be started or waited for; errno says why (EINTR for a
// program that a signal ended) and the last error is NAVO_ERR_EXEC_FAILED.
NAVO_API int NLIBCExecv(const char* program, char* const argv[], int wait);

// How NLIBCExecl is to run its program: bits that may be combined.
enum NLIBCExecOption : int {
    NLIBC_EXEC_WAIT = 0x01,             // wait for the end
    NLIBC_EXEC_QUIET_STDOUT = 0x02,     // standard output to /dev/null
    NLIBC_EXEC_STDIN_NULL = 0x08,       // standard input from /dev/null
    NLIBC_EXEC_DEFAULT_SIGNALS = 0x10,  // signals at their defaults
    NLIBC_EXEC_QUIET_STDERR = 0x20,     // standard error to /dev/null
    NLIBC_EXEC_CLOSE_FDS = 0x80,        // no further descriptor of the caller's
    NLIBC_EXEC_QUIETLY = 187            // all of them: run and wait without a trace
};

// Runs `program` with the arguments that follow `options`, up to a null pointer. The program's own
// name is put in front of them. NLIBC_EXEC_QUIETLY (187) is the only value of `options` served.
//
// Returns the exit status, 0 to 255, or -1 when the program could not be started or waited for,
// with errno and the last error as for NLIBCExecv; another value of `options` is
// NAVO_ERR_BAD_PARAMETERS and EINVAL.
NAVO_API int NLIBCExecl(const char* program, int options, ... /* , nullptr */)
    __attribute__((sentinel));

// Runs `program` with up to four arguments; the first null pointer among them ends the list.
// Standard output goes to /dev/null, standard error is the caller's. Returns as NLIBCExecl does.
NAVO_API int NLIBCExec(const char* program, const char* argument1, const char* argument2,
                       const char* argument3, const char* argument4);

#endif
