// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_EA_H
#define NAVO_EA_H

#include <cstddef>

#include "base.h"

// Extended-attribute directories: every file can have a directory of its own for data that belongs
// to it, one file per stream. The streams of /volume1/docs/a.docx are in
// /volume1/docs/.navoea/a.docx/.
//
// These operations refuse a file's path (NAVO_ERR_BAD_PARAMETERS, EINVAL) that is null, empty or
// relative, ends in a slash or in "/." or has a component "..": no stream can be outside the file's
// own folder. A result that does not fit into its buffer is NAVO_ERR_NAME_TOO_LONG (ENAMETOOLONG).
// Several threads and processes may call them at once.

// Fills `buffer` (`size` bytes) with the NUL-terminated path of the directory of the file `path`.
// Neither needs to exist. `flags` must be 0. Returns 0, or -1 with errno and the last error.
NAVO_API int NAVOEADirPath(int flags, const char* path, char* buffer, size_t size);

// Fills `buffer` (`size` bytes) with the NUL-terminated path of the stream `stream` of the file
// `path`; for an empty name, of the directory itself. Refuses stream names with a slash, "." and
// "..". Nothing needs to exist. `flags` and `reserved` must be 0. Returns 0, or -1 with errno and
// the last error.
NAVO_API int NAVOEAPath(int flags, const char* path, const char* stream, char* buffer, size_t size,
                        int reserved);

// Creates the extended-attribute directory `directory` (a result of NAVOEADirPath) and the .navoea
// directory above it, both with mode 0755 whatever the umask, owned by the effective ids. Leaves
// directories that exist as they are. `flags` must be 1. The folder of the file itself must exist.
// Returns 0, also when the directory exists already, or -1 with errno and the last error
// NAVO_ERR_BAD_PARAMETERS (not such a path) or NAVO_ERR_IO (ENOTDIR when a symbolic link is in the
// place of either directory).
NAVO_API int NAVOEAMKDir(int flags, const char* directory);

#endif
