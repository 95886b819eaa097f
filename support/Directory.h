// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_DIRECTORY_H
#define VELLUMO_SUPPORT_DIRECTORY_H

#include <sys/stat.h>

#include <string>
#include <vector>

#include "support/Descriptor.h"

// Directories by file descriptor. The kernel looks up a path again at each use, and a user who may
// write to a folder on the way can replace what is there between two uses. A descriptor stays with
// the directory that was opened.
namespace vellumo::support {

// Opens the directory `path` for listing and for the *at calls. Refuses a symbolic link as its last
// component. Returns an empty descriptor, with errno, on failure.
Descriptor OpenDirectory(const std::string& path);

// The same for the entry `name` of the directory `above`.
Descriptor OpenDirectoryAt(const Descriptor& above, const std::string& name);

// The same, and locks the directory with flock(2) for the life of the descriptor, without waiting.
// errno is EWOULDBLOCK when another process has the lock or has removed the directory, also between
// the opening and the lock, when a third one may have made its own under the name. The name
// decides, because the link count of a control group's directory does not show whether it was
// removed.
Descriptor LockDirectoryAt(const Descriptor& above, const std::string& name);

// Returns the names in `directory` without "." and "..", in no particular order. Returns no names,
// with errno, when the directory cannot be listed; errno is 0 when the directory is empty.
std::vector<std::string> NamesIn(const Descriptor& directory);

// A name in a directory and its type, DT_REG and others of <dirent.h>. DT_UNKNOWN where the file
// system does not tell the type with the name.
struct TypedName {
    std::string name;
    unsigned char type = 0;
};

// The same as NamesIn(), with the types.
std::vector<TypedName> TypedNamesIn(const Descriptor& directory);

// Whether both describe the same file or directory.
bool IsSameFile(const struct stat& one, const struct stat& other);

// Whether the open file `file` is the one at `path`; follows symbolic links. False when either
// cannot be examined. A file that has been removed or replaced is no longer at its path.
bool LiesAt(const Descriptor& file, const std::string& path);

// Removes everything in `directory` but not the directory itself. Follows no symbolic link and
// needs few file descriptors however deep the folders are. Changes the mode of folders that the
// caller may not enter. Entries that another process removes meanwhile are no failure. Returns
// false, with errno, when it cannot remove an entry; entries removed before that are gone.
bool RemoveContents(const Descriptor& directory);

}  // namespace vellumo::support

#endif
