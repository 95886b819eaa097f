// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_FINDINGS_H
#define VELLUMO_WATCH_FINDINGS_H

#include <string>
#include <utility>

#include "daemon/watch/Change.h"
#include "daemon/watch/Roots.h"

namespace vellumo::watch {

// Collects the changes that one step of a watch finds, and leaves out what the watch does not tell
// about. Paths may be empty, which stands for a place outside the roots.
class Findings {
public:
    // `roots` outlives the object.
    explicit Findings(const Roots& roots) : _roots(roots) {}

    void Written(const std::string& path);
    void Removed(const std::string& path, bool isFolder);
    // Makes of a move to or from a place that nothing is told about what it means for the other.
    void Moved(const std::string& from, const std::string& path, bool isFolder);
    void Rescan(const std::string& folder);
    // Events were lost.
    void RescanRoots();

    Changes Take() { return std::exchange(_changes, {}); }

private:
    bool IsTold(const std::string& path, bool isFolder) const;

    const Roots& _roots;
    Changes _changes;
};

}  // namespace vellumo::watch

#endif
