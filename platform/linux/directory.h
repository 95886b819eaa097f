// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_DIRECTORY_H
#define NAVO_LINUX_DIRECTORY_H

#include <navo/base.h>
#include <sys/types.h>

#include <string>

namespace NAVO::platform {

// The attributes of a new directory.
struct DirectoryAttributes {
    mode_t mode;
    uid_t owner = UID_ERR;  // UID_ERR: as the kernel sets it; the same for the group
    gid_t group = UID_ERR;
};

// Makes sure that `path` is a directory; its parent must exist. Leaves an existing directory as it
// is. Never changes a directory that somebody else puts in the place of the new one. A symbolic
// link to a directory counts as one if the link belongs to root or to the caller. Returns false,
// with errno, on failure. Removes a new directory again when its attributes cannot be set.
bool EnsureDirectory(const std::string& path, const DirectoryAttributes& attributes);

}  // namespace NAVO::platform

#endif
