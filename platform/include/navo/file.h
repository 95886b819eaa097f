// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_FILE_H
#define NAVO_FILE_H

#include <sys/stat.h>

#include <cstdint>

#include "base.h"

// Files and directories. Each operation works with the caller's effective ids and may be used from
// several threads and processes.

// Whether anything lies at `path`, symbolic links followed. FALSE too for a null or empty path and
// for one that cannot be looked at; only those set the last error (NAVO_ERR_BAD_PARAMETERS,
// NAVO_ERR_NO_PERMISSION): plain absence is an answer, not a failure.
NAVO_API BOOL NLIBCFileExist(const char* path);

// Whether `path` is an existing directory, symbolic links followed. Errors as NLIBCFileExist.
NAVO_API BOOL NLIBCFileCheckDir(const char* path);

// Makes sure that a file lies at `path`: a missing one is created empty with mode 0644 (less the
// umask), an existing one keeps its content and gets the current time as its modification time. A
// directory is refused (EISDIR).
// Returns 0, or -1 with errno and NAVO_ERR_OPEN_FAILED.
NAVO_API int NLIBCFileTouch(const char* path);

// Fills `status` with what is known about the file at `path`: size, times, owner, mode.
// `followLinks`: not 0 looks at what a symbolic link points to, 0 at the link itself.
// Returns 0, or -1 with errno and NAVO_ERR_BAD_PARAMETERS, NAVO_ERR_NO_PERMISSION or, for anything
// else, NAVO_ERR_IO; `status` is then untouched.
NAVO_API int NLIBCFileStat(const char* path, int followLinks, struct stat* status);

// Creates the directory `path` (absolute). Directories that it creates get exactly `mode`, whatever
// the umask, and the owner and group given, UID_ERR leaving each as it comes; what exists already
// is left as it is.
//
// `reserved` must be null. `parents`: TRUE creates missing parents too, in the same way.
// Returns 0 when the directory exists afterwards, else -1 with errno and NAVO_ERR_BAD_PARAMETERS
// or NAVO_ERR_IO; parents that were created stay. Several processes may create one tree at once.
NAVO_API int NAVOFSMkdirP(const char* path, const char* reserved, BOOL parents, uid_t owner,
                          gid_t group, mode_t mode);

// What NAVOFileCopy is to do: 80 bytes, all zero but what is asked for.
struct NAVOFILECOPYOPTIONS {
    int32_t replace;  // 1: an existing destination is replaced; 0: it is an error
    int32_t move;     // 1: the source is moved; 0: it is copied
    unsigned char reserved[72];
};
static_assert(sizeof(NAVOFILECOPYOPTIONS) == 80, "the record's size is part of the interface");

// Copies or moves the regular file `source` to `destination` (a file's path, not a directory's).
//
// A copy carries content and permission bits (only content where the destination belongs to
// somebody else); an existing destination is overwritten in place and so keeps its inode, owner and
// locks. A move renames; between file systems it copies to a hidden file beside the destination,
// renames that, then removes the source: an existing destination is replaced whole or not at all.
// Two names of one file are a success and stay as they are. On failure the source is untouched, and
// a destination that did not exist before is not left half written.
// Returns 0, or -1 with errno and NAVO_ERR_BAD_PARAMETERS or NAVO_ERR_IO.
NAVO_API int NAVOFileCopy(const char* source, const char* destination,
                          const NAVOFILECOPYOPTIONS* options);

#endif
