// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_SHAREWATCH_H
#define VELLUMO_DAEMON_SHAREWATCH_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/DaemonSettings.h"
#include "daemon/watch/Settling.h"
#include "daemon/watch/TreeScan.h"
#include "daemon/watch/Watching.h"
#include "jobs/Backlog.h"

namespace vellumo::daemon {

// Looks after the shares: learns what changes in them, lets it settle, and hands it to the backlog.
// Looks through all of them at the start, since nobody knows what has changed before, after a loss
// of events, and from time to time.
//
// How far a complete look has got is in a file (`scan` in SZF_INDEX_DIR), so that a restart does
// not begin from the first folder again.
class ShareWatch {
public:
    // `settings` and `backlog` are not owned and outlive the object. Watches nothing yet.
    ShareWatch(const DaemonSettings& settings, Backlog& backlog);

    // Adapts to the present settings; watches nothing when they say so. Begins anew, with a look
    // through all shares, only when something that matters here has changed.
    void Adapt();

    // Goes on for a few milliseconds.
    void Step();

    // To be called before work on a document begins. If it was renamed just now, lets what is kept
    // of it follow before the rename settles; else it would be converted again.
    void FollowRenameOf(const std::string& realPath);

    // Lets what is kept of renamed documents follow, settled or not. To be called before products
    // of documents that are gone are removed, and before the end: the next daemon would know
    // nothing of these renames.
    void FollowRenames();

    // Looks through all watched shares, again if it does so already.
    void LookThroughAll();

    // A file descriptor that becomes readable when there is something to do; -1 when nothing is
    // watched.
    int WaitOn() const { return _watching ? _watching->Descriptor() : -1; }

    // Changes that have not settled yet.
    size_t Unsettled() const { return _settling ? _settling->Waiting() : 0; }

    std::vector<watch::WatchedRoot> Status() const;

private:
    using Clock = std::chrono::steady_clock;

    // A share's folder as Samba's configuration has it, which may lead through symbolic links, and
    // its path without them, as the kernel tells changes.
    struct Root {
        std::string folder;
        std::string real;
        bool operator==(const Root&) const = default;
    };
    struct Plan {
        std::vector<Root> roots;
        std::string way;
        std::chrono::seconds settle{};
        std::chrono::seconds scanEvery{};
        bool operator==(const Plan&) const = default;
    };

    Plan PlanNow() const;
    std::vector<std::string> FoldersOfPlan() const;
    std::string InShare(const std::string& path) const;
    void TakeEvents();
    void TakeChanges();
    void FollowMoves(const watch::Changes& changes) const;
    void Act(const watch::Change& change);
    void Rescan(const std::string& folder);
    void BeginScan();
    void FollowScan();

    const DaemonSettings& _settings;
    Backlog& _backlog;
    std::unique_ptr<watch::Watching> _watching;
    std::unique_ptr<watch::Settling> _settling;
    Plan _plan;
    bool _scans = false;  // a complete look goes on
    Clock::time_point _saved;
    Clock::time_point _scanEnded;
};

}  // namespace vellumo::daemon

#endif
