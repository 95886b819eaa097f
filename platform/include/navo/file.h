// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_FILE_H
#define NAVO_FILE_H

#include <sys/stat.h>

#include <cstdint>

#include "base.h"

// Files and directories. Each operation works with the caller's effective ids. Several threads and
// processes may call them at once.

// Whether anything exists at `path`; follows symbolic links. Returns FALSE too for a null or empty
// path and for one that cannot be examined, and then sets the last error (NAVO_ERR_BAD_PARAMETERS,
// NAVO_ERR_NO_PERMISSION). A file that does not exist is an answer, not a failure: it does not set
// the last error.
NAVO_API BOOL NLIBCFileExist(const char* path);

// Whether `path` is an existing directory; follows symbolic links. Finds an extended-attribute
// directory (navo/ea.h) in root's process whatever the effective ids. Sets the last error as
// NLIBCFileExist does.
NAVO_API BOOL NLIBCFileCheckDir(const char* path);

// Makes sure that a file exists at `path`: creates a missing file empty with mode 0600 (less the
// umask); sets the modification time of an existing file to the current time and keeps its content.
// Refuses a directory (EISDIR).
// Returns 0, or -1 with errno and the last error NAVO_ERR_OPEN_FAILED.
NAVO_API int NLIBCFileTouch(const char* path);

// Fills `status` with the size, times, owner, mode and so on of the file at `path`.
// `followLinks`: if not 0, examines the file that a symbolic link points to; if 0, the link itself.
// Returns 0, or -1 with `status` untouched, errno and the last error NAVO_ERR_BAD_PARAMETERS,
// NAVO_ERR_NO_PERMISSION or, for anything else, NAVO_ERR_IO.
NAVO_API int NLIBCFileStat(const char* path, int followLinks, struct stat* status);

// Creates the directory `path` (absolute). Directories that it creates get exactly the mode `mode`,
// whatever the umask, and the owner and group given, and appear under their names only then. Leaves
// directories that exist as they are. A symbolic link to a directory counts as one if it belongs to
// root or to the caller; any other link is refused (ELOOP). What a user exchanges meanwhile is
// never changed.
//
// In a scratch folder, one called @tmp, only the directory `path` itself gets `mode`. Those between
// the first @tmp and `path` are for their owner alone: missing ones get `mode` without the
// permissions of group and others, and existing ones of the caller's lose those. If one belongs to
// neither the caller nor root, fails (EPERM) and names it in the system log.
//
// `reserved` must be null. `parents`: TRUE creates missing parents too, in the same way. `owner`,
// `group`: UID_ERR leaves the one that the kernel gives to a new directory.
// Returns 0 when the directory exists afterwards, else -1 with errno and the last error
// NAVO_ERR_BAD_PARAMETERS or NAVO_ERR_IO; parents that it has created stay. Several processes may
// create the same tree at once.
NAVO_API int NAVOFSMkdirP(const char* path, const char* reserved, BOOL parents, uid_t owner,
                          gid_t group, mode_t mode);

// Options of NAVOFileCopy: 80 bytes. Set them all to zero, then those that you want.
struct NAVOFILECOPYOPTIONS {
    int32_t replace;  // 1: replace an existing destination; 0: an existing destination is an error
    int32_t move;     // 1: move the source; 0: copy it
    unsigned char reserved[72];  // zero
};
static_assert(sizeof(NAVOFILECOPYOPTIONS) == 80, "the record's size is part of the interface");

// Copies or moves the regular file `source` to `destination` (a file's path, not a directory's).
// Opens nothing else as a source, whatever a user exchanges it for meanwhile.
//
// A copy takes over content and permission bits (only the content when the destination belongs to
// another user). It overwrites an existing destination in place, so that file keeps its inode,
// owner and locks. Holes stay holes, and no more than the size at the beginning is copied. A move
// renames. Between file systems a move copies to a hidden file beside the
// destination, renames that file and then removes the source: it replaces an existing destination
// as a whole or not at all. When both paths are names of one file, it succeeds and changes nothing.
//
// Returns 0, or -1 with errno and the last error NAVO_ERR_BAD_PARAMETERS or NAVO_ERR_IO. On failure
// the source is untouched, and a destination that did not exist before is not left half written.
NAVO_API int NAVOFileCopy(const char* source, const char* destination,
                          const NAVOFILECOPYOPTIONS* options);

#endif
