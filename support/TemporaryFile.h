// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_TEMPORARYFILE_H
#define VELLUMO_SUPPORT_TEMPORARYFILE_H

#include <sys/types.h>

#include <string>

#include "support/Descriptor.h"

namespace vellumo::support {

// Creates an empty file of mode 0600, open for reading and writing, which no child inherits.
// `pattern`: its path, with "XXXXXX" before the last `suffixLength` bytes; becomes the name that
// was chosen. The file is the caller's to remove. None, with errno, when it cannot be made.
Descriptor MakeTemporaryFile(std::string& pattern, size_t suffixLength = 0);

// A file for reading and writing that has no name and is gone when its last descriptor is closed.
// None, with errno, when it cannot be made.
Descriptor OpenNamelessFile();

// The last `most` bytes of `file`, all of a shorter one; what can be read of it after a failure.
// Where the descriptor stands does not matter and does not change.
std::string ReadTail(const Descriptor& file, size_t most);

}  // namespace vellumo::support

#endif
