// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_EA_H
#define NAVO_EA_H

#include <cstddef>

#include "base.h"

// Extended-attribute directories: every file can have a directory of its own for data that belongs
// to it, one file per stream. They lie in a tree that only root can enter: those of files on a
// volume in /volumeN/@navoea, those of all other files in /var/lib/navo/@navoea. A directory
// belongs to the file, not to its name: another file of the same name has another directory. A
// copied file does not take its directory with it, nor does a moved one before NAVOEAMove().
//
// These operations refuse a file's path (NAVO_ERR_BAD_PARAMETERS, EINVAL) that is null, empty or
// relative, ends in a slash or in "/." or has a component "..". A result that does not fit into its
// buffer is NAVO_ERR_NAME_TOO_LONG (ENAMETOOLONG). When something else is in the place of the tree,
// others than root may enter it, or others than root may put something in its place, they fail with
// NAVO_ERR_NO_PERMISSION (EPERM). Several threads and processes may call them at once.

// Fills `buffer` (`size` bytes) with the NUL-terminated path of the directory of the file `path`.
// Root's process may act as any user meanwhile. The directory need not exist. The path stays the
// same as long as the file and its name stay the same; a link is a file of its own. A file that
// does not exist has the directory of the last file of its name, if there is just one, which only
// root's process can find out. `flags` must be 0. Returns 0, or -1 with errno and the last error,
// NAVO_ERR_NO_PERMISSION when the file cannot be examined.
NAVO_API int NAVOEADirPath(int flags, const char* path, char* buffer, size_t size);

// Fills `buffer` (`size` bytes) with the NUL-terminated path of the stream `stream` of the file
// `path`; for an empty name, of the directory itself. Refuses stream names with a slash, "." and
// "..". The stream need not exist. `flags` and `reserved` must be 0. Returns as NAVOEADirPath does.
NAVO_API int NAVOEAPath(int flags, const char* path, const char* stream, char* buffer, size_t size,
                        int reserved);

// The same as NAVOEADirPath for the open file `file`, which has or had the path `path`.
NAVO_API int NAVOEADirPathOfFile(int file, const char* path, char* buffer, size_t size);

// Whether the file `copy` has the content of the file at `path`, and that is the file to which the
// extended-attribute directory `directory` belongs: `copy` is a link to it, or has the same bytes.
// Reads both in the latter case. FALSE too when either cannot be examined.
NAVO_API BOOL NAVOEAHasContent(const char* directory, const char* path, const char* copy);

// Creates the extended-attribute directory `directory` (a result of NAVOEADirPath) and what is
// missing above it, with mode 0700 whatever the umask; only root can. Leaves a directory that
// exists as it is. Removes the directories of other files that had the same name. `flags` must be
// 1. Returns 0, also when the directory exists already, or -1 with errno and the last error
// NAVO_ERR_BAD_PARAMETERS (not such a path) or NAVO_ERR_IO.
NAVO_API int NAVOEAMKDir(int flags, const char* directory);

// Removes the extended-attribute directory `directory` with its streams, and the folders of the
// tree that are empty then. `flags` must be 1. Returns 0, also when there is no such directory, or
// -1 as NAVOEAMKDir does.
NAVO_API int NAVOEARMDir(int flags, const char* directory);

// Lets extended-attribute directories follow a rename: of the file or folder `from`, which has the
// path `to` now, and of all files in that folder and below it. A directory stays with its file,
// whatever has the path `from` by now, and the directories of files that `to` has replaced are
// removed. Does nothing for paths on different volumes, and when `to` does not exist but `from`
// does: it was renamed back. Needs root. A process that is killed meanwhile leaves some directories
// at their old place; a repetition moves those too. Renames with `from` and `to` on the same paths
// must not run at once. `flags` must be 1. Returns 0, or -1 with errno and the last error
// NAVO_ERR_BAD_PARAMETERS, NAVO_ERR_NO_PERMISSION or NAVO_ERR_IO.
NAVO_API int NAVOEAMove(int flags, const char* from, const char* to);

// An extended-attribute directory that exists. The texts are valid during the visit.
struct NAVOEAENTRY {
    const char* szDirectory;  // its path
    const char* szFolder;     // the folder of its file
    BOOL hasFile;             // FALSE: the file is no longer in that folder, or has another name;
                              // TRUE also when that cannot be found out
};

// Is called with an entry, and with the `context` of NAVOEAWalk. Returns 0 to go on.
using NAVOEAVISITOR = int (*)(const NAVOEAENTRY* entry, void* context);

// Visits all extended-attribute directories, in no particular order; `visit` may remove the one
// that it is called with. Needs root. Returns 0, the first other result of `visit`, or -1 with
// errno and the last error NAVO_ERR_BAD_PARAMETERS.
NAVO_API int NAVOEAWalk(NAVOEAVISITOR visit, void* context);

#endif
