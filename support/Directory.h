// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_DIRECTORY_H
#define VELLUMO_SUPPORT_DIRECTORY_H

#include <sys/stat.h>

#include <string>
#include <vector>

#include "support/Descriptor.h"

// Directories by descriptor. A path is looked up again at each use, and whoever may write to a
// folder on the way can exchange what lies there in between; a descriptor stays with what was
// opened.
namespace vellumo::support {

// Opens the directory `path` for listing and for the *at calls; a symbolic link in its last
// component is refused. None, with errno, when that fails.
Descriptor OpenDirectory(const std::string& path);

// The same for the entry `name` of `above`.
Descriptor OpenDirectoryAt(const Descriptor& above, const std::string& name);

// The names in `directory` without "." and "..", in no order. Empty, with errno, when it cannot be
// listed; errno is 0 when it is empty.
std::vector<std::string> NamesIn(const Descriptor& directory);

// Whether both are of one file or directory.
bool IsSameFile(const struct stat& one, const struct stat& other);

// Whether `path`, its links followed, leads to what is open as `file`. False when either cannot be
// looked at. A file that somebody has removed or replaced is at no path any more.
bool LiesAt(const Descriptor& file, const std::string& path);

// Removes everything in `directory`, which stays. Follows no link and needs few descriptors however
// deep the folders are. Grants itself the rights to folders that lack them, and does not mind what
// others remove meanwhile. False, with errno, when something cannot be removed; the rest is then
// gone as far as the call came.
bool RemoveContents(const Descriptor& directory);

}  // namespace vellumo::support

#endif
