// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_TEMPORARYFILE_H
#define VELLUMO_SUPPORT_TEMPORARYFILE_H

#include <sys/types.h>

#include <string>

#include "support/Descriptor.h"

namespace vellumo::support {

// Creates an empty file with mode 0600, open for reading and writing; no child process inherits it.
// `pattern`: its path, with "XXXXXX" before the last `suffixLength` bytes; set to the path that was
// chosen. The caller removes the file. Returns an empty descriptor, with errno, on failure.
Descriptor MakeTemporaryFile(std::string& pattern, size_t suffixLength = 0);

// Creates a file without a name in /tmp, open for reading and writing. The kernel removes it when
// its last descriptor is closed. Returns an empty descriptor, with errno, on failure.
Descriptor OpenNamelessFile();

// Returns the last `most` bytes of `file`, or the whole of a shorter file; after a failure, what
// could be read. Neither uses nor changes the position of the descriptor.
std::string ReadTail(const Descriptor& file, size_t most);

}  // namespace vellumo::support

#endif
