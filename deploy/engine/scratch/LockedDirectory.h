// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SCRATCH_LOCKEDDIRECTORY_H
#define VELLUMO_ENGINE_SCRATCH_LOCKEDDIRECTORY_H

#include <string>

#include "support/Descriptor.h"

namespace vellumo::engine {

// Takes away a directory.
using Remover = void (*)(const std::string&);

// Removes a directory with all that is in it, if there is one; says so on standard error when it
// cannot.
void RemoveTree(const std::string& tree);

// A new directory with a name of its own, locked for as long as the object lives, then removed.
// What a killed process has left is removed by the next one: its lock is free.
class LockedDirectory {
public:
    // `above` ends with a slash; the name begins with `prefix`. Throws Failure when it cannot be
    // made.
    LockedDirectory(const std::string& above, const std::string& prefix, Remover remove);
    ~LockedDirectory();
    LockedDirectory(const LockedDirectory&) = delete;
    LockedDirectory& operator=(const LockedDirectory&) = delete;

    const std::string& Path() const { return _path; }

private:
    void Create(const std::string& above, const std::string& prefix);
    bool IsThere() const;

    Remover _remove;
    std::string _path;
    support::Descriptor _lock;
};

}  // namespace vellumo::engine

#endif
