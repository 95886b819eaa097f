// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_STREAMFOLDERS_H
#define NAVO_LINUX_STREAMFOLDERS_H

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "streamtree.h"
#include "support/Descriptor.h"

// The folders in the trees of streams: who may enter them, making and removing them.
namespace NAVO::platform {

// How often an operation that makes folders tries, as others remove empty ones meanwhile.
inline constexpr int kTries = 100;

// Whether `text` names an entry of a directory: neither the directory itself nor a path out of it.
bool IsName(std::string_view text);

// Whether `path` is absolute, ends in the name of an entry and has no component "..".
bool IsFilePath(const char* path);

// False, with errno, when something else than a tree that only root can enter is in its place, or
// when somebody else could put it there at any time.
bool IsUsable(const std::string& tree);

// Opens the directory `name` in `above`, and creates it for root alone if it is missing. Returns an
// empty descriptor, with errno, on failure.
vellumo::support::Descriptor OpenOrMake(const vellumo::support::Descriptor& above,
                                        const std::string& name);

// The same for the folder in the tree in which `place` lies.
vellumo::support::Descriptor OpenOrMakeFolder(const StreamDirectory& place);

// Removes what was kept of other files that had the name of the file of `place`. `parent`: the open
// folder in which `place` lies. Returns false, with errno, on failure.
bool RemoveOthers(const vellumo::support::Descriptor& parent, const StreamDirectory& place);

// Removes the folders in which `place` lies as far as they are empty, the deepest first, but not
// the tree.
void RemoveEmptyFolders(const StreamDirectory& place);

// The names of the directories of streams that the files in `folder` have now, as far as the hashes
// of their names are among `keys`. Nothing, with errno, when that cannot be found out: none of the
// files may be taken for one that is gone.
std::optional<std::set<std::string>> NamesOfFilesIn(const std::string& folder,
                                                    const std::set<std::string>& keys);

}  // namespace NAVO::platform

#endif
