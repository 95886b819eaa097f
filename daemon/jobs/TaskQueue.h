// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_TASKQUEUE_H
#define VELLUMO_DAEMON_TASKQUEUE_H

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "loader/queue/Operation.h"

namespace vellumo::daemon {

// One task of the queue.
struct QueuedTask {
    std::string id;
    std::string path;  // real path
    bool isFolder;     // as the producer says
    loader::Operation operation;
    loader::Products products;
};

// The queue of tasks (thumb.db) as its consumer sees it. Rows stay in the queue until they are
// done, so that a daemon that dies loses none. It opens the database for each operation: a
// connection must not cross the fork of a worker.
class TaskQueue {
public:
    // Brings the tables to their newest version. Throws loader::Failure when that fails.
    TaskQueue();

    // Whether there may be tasks to take: the queue has changed since the last call, or the last
    // Take() of a kind may have left some.
    bool MayHaveMore();

    // At most `count` of the oldest tasks that are not taken yet: those of operation kConvertNow,
    // or all others. They are taken from now on. Tasks with a number that no program uses are
    // passed over. Returns no tasks when the database cannot be read; the system log has the
    // reason.
    enum class Kind { kUrgent, kOrdinary };
    std::vector<QueuedTask> Take(Kind kind, size_t count);

    // Deletes tasks that are done. When the database is locked, they are deleted later.
    void Finish(const std::vector<std::string>& ids);

    // How many tasks the queue has; nothing when it cannot be read.
    std::optional<int64_t> Count() const;

private:
    void DeleteDone();

    struct timespec _changed {};
    bool _hasUrgentLeft = false;
    bool _hasOrdinaryLeft = false;
    std::set<std::string> _taken;
    std::set<std::string> _done;  // and not deleted yet
};

}  // namespace vellumo::daemon

#endif
