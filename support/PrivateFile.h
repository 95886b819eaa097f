// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_PRIVATEFILE_H
#define VELLUMO_SUPPORT_PRIVATEFILE_H

#include <sys/types.h>

#include <string>

#include "support/Descriptor.h"

// Files that only their owner can open. Whoever can open a file, if only for reading, can also hold
// a lock on it and so delay all who wait for that lock.
namespace vellumo::support {

// The path of an open file in /proc. It leads to the file itself, also when its name has another
// file by now, and works for descriptors that are opened with O_PATH.
std::string PathOf(const Descriptor& file);

// Removes the permissions `bits` from an open file or directory (O_PATH suffices) that belongs to
// the caller; leaves the files of other users alone. Returns false, with errno, on failure; errno
// stays as it is on success.
bool RemovePermissions(const Descriptor& file, mode_t bits);

// Leaves the file or directory at `path`, if it belongs to the caller, to its owner alone. Does
// not follow a link. Leaves errno as it is, and ignores failures: the next use of the file reports
// them. Does not open the file, so that the process keeps its record locks on it.
void KeepForOwner(const std::string& path);

// Makes sure that the regular file `path` (absolute) exists: creates a missing one empty with mode
// 0600. Otherwise like KeepForOwner.
void EnsurePrivateFile(const std::string& path);

}  // namespace vellumo::support

#endif
