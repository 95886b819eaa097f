// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_EA_H
#define NAVO_EA_H

#include <cstddef>

#include "base.h"

// Extended-attribute directories: every file has a directory of its own for what is kept beside it,
// one file per stream. The streams of /volume1/docs/a.docx lie in /volume1/docs/.navoea/a.docx/.
//
// A file's path is refused (NAVO_ERR_BAD_PARAMETERS, EINVAL) when it is null, empty, relative, ends
// in a slash or in "/." or has a component "..", so that nothing can lie outside the file's own
// folder; a result that does not fit its buffer is NAVO_ERR_NAME_TOO_LONG (ENAMETOOLONG).

// Fills `buffer` (`size` bytes) with the NUL-terminated path of the directory of the file `path`.
// Nothing need exist. `flags` must be 0. Returns 0, or -1.
NAVO_API int NAVOEADirPath(int flags, const char* path, char* buffer, size_t size);

// Fills `buffer` with the path of the file's stream `stream`; the empty name gives the directory
// itself. A stream name with a slash, "." and ".." are refused. Nothing need exist. `flags` and
// `reserved` must be 0. Returns 0, or -1.
NAVO_API int NAVOEAPath(int flags, const char* path, const char* stream, char* buffer, size_t size,
                        int reserved);

// Creates the extended-attribute directory `directory` (a result of NAVOEADirPath), and the
// .navoea directory above it; both with mode 0755 whatever the umask, owned by the effective ids.
// `flags` must be 1. The folder of the file itself must exist. Success too when it exists already;
// a symbolic link in the place of either directory is refused (ENOTDIR).
// Returns 0, or -1 with errno and NAVO_ERR_BAD_PARAMETERS (not such a path) or NAVO_ERR_IO.
NAVO_API int NAVOEAMKDir(int flags, const char* directory);

#endif
