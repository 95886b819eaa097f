// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_TREEWATCH_H
#define VELLUMO_WATCH_TREEWATCH_H

#include <string>
#include <vector>

#include "daemon/watch/Change.h"

namespace vellumo::watch {

// Watches the folders of some roots. What a walk through folders passes over (see
// loader/documents/FolderRules.h) is passed over here too: nothing is told about such folders, or
// about files that no converter takes.
//
// Nothing is told about what changed before IsReady(): whoever needs that looks through the roots
// afterwards. A watch that has lost events tells a kRescan of its roots, or stops being ready until
// all folders are watched again.
//
// One thread uses an object. No operation waits for events.
class TreeWatch {
public:
    TreeWatch() = default;
    virtual ~TreeWatch() = default;
    TreeWatch(const TreeWatch&) = delete;
    TreeWatch& operator=(const TreeWatch&) = delete;

    // A descriptor that poll() and epoll find readable when Take() has something to do. It belongs
    // to the object and stays the same.
    virtual int Descriptor() const = 0;

    // Does a small step of the work that there is, in a few milliseconds, and returns what it
    // found, which may be nothing.
    virtual Changes Take() = 0;

    // Whether all folders are watched.
    virtual bool IsReady() const = 0;

    // The folders that became known since the last call and cannot be watched, with the folders
    // below them.
    virtual std::vector<std::string> TakeUnwatched() { return {}; }
};

}  // namespace vellumo::watch

#endif
