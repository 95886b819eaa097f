// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SCRATCH_LOCKEDDIRECTORY_H
#define VELLUMO_ENGINE_SCRATCH_LOCKEDDIRECTORY_H

#include <string>

#include "support/Descriptor.h"

namespace vellumo::engine {

// A function that removes the directory with this path.
using Remover = void (*)(const std::string&);

// Removes a directory with all its contents, if it exists. On failure, writes a message to standard
// error.
void RemoveTree(const std::string& tree);

// A new directory whose name ends with a number that no other one has. It is locked for as long as
// the object lives; the destructor removes it. The directory of a killed process is no longer
// locked, and the next process removes it.
class LockedDirectory {
public:
    // Creates the directory in `above`, which ends with a slash, under the name `prefix` followed
    // by the least free number. Before that, removes the directories with this prefix that no
    // process has locked. Throws Failure when the directory cannot be created.
    LockedDirectory(const std::string& above, const std::string& prefix, Remover remove);
    ~LockedDirectory();
    LockedDirectory(const LockedDirectory&) = delete;
    LockedDirectory& operator=(const LockedDirectory&) = delete;

    const std::string& Path() const { return _path; }
    unsigned Number() const { return _number; }

private:
    void Create(const std::string& above, const std::string& prefix);

    Remover _remove;
    std::string _path;
    unsigned _number = 0;
    support::Descriptor _lock;
};

}  // namespace vellumo::engine

#endif
