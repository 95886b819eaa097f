// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_DIRECTORY_H
#define NAVO_LINUX_DIRECTORY_H

#include <navo/base.h>
#include <sys/types.h>

#include <string>

namespace NAVO::platform {

// What a directory gets when it is made.
struct DirectoryAttributes {
    mode_t mode;
    uid_t owner = UID_ERR;  // UID_ERR leaves each as it comes
    gid_t group = UID_ERR;
};

enum class Links { Followed, Refused };

// Makes sure that `path` is a directory, its parent being there; one that exists is left as it is.
// `links` says whether a symbolic link to a directory passes for one.
// False with errno; a directory that could not be given its attributes is removed again.
bool EnsureDirectory(const std::string& path, const DirectoryAttributes& attributes,
                     Links links = Links::Followed);

}  // namespace NAVO::platform

#endif
