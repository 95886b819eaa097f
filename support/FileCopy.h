// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_FILECOPY_H
#define VELLUMO_SUPPORT_FILECOPY_H

#include <sys/types.h>

#include <string>

#include "support/Descriptor.h"

// Copies of files whose owners may change, exchange or enlarge them meanwhile.
namespace vellumo::support {

// Opens the regular file `path` for reading; follows symbolic links. Examines the file before it
// opens it, and opens the very file that it has examined: never a device, whose opening alone can
// have effects, nor a pipe, which would block. Returns an empty descriptor, with errno (EISDIR,
// EINVAL for what is no regular file), on failure.
Descriptor OpenRegularFile(const std::string& path);

// Replaces the content of `to` by that of `from`, a regular file. Holes stay holes. Copies no more
// than the size that `from` has at the beginning, or less when the file gets shorter meanwhile. Of
// a file that shows no size, as those in /proc do, copies what can be read, up to 1 MiB. Where the
// file system supports it, both files share their blocks. Returns false, with errno, on failure.
bool CopyContent(const Descriptor& from, const Descriptor& to);

// Writes the content of the file at `path` to its disk, so that a power cut does not leave a file
// with the right name and no content. Returns false, with errno, when that fails; true on file
// systems that have no such operation.
bool SyncContent(const std::string& path);

}  // namespace vellumo::support

#endif
