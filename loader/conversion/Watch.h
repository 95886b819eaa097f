// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_WATCH_H
#define VELLUMO_LOADER_WATCH_H

#include <string>

#include "loader/conversion/Worker.h"
#include "vellumo/ContainerPoolManager.h"

namespace vellumo::loader {

// What a worker is doing.
enum class Phase {
    kPreparing,  // links or copies the document into the scratch directory
    kWaiting,    // waits for a free container
    kTool,       // its tool runs
    kFinishing,  // stores the product and cleans up
    kGivingUp    // a stop was requested, and the worker has not ended yet
};

// Shows the progress of a conversion.
class Listener {
public:
    virtual ~Listener() = default;

    // Whether Report needs `obstacle`: reading it takes the lock of the state file.
    virtual bool WantsObstacles() const = 0;

    // Called about ten times a second. `obstacle`: in kWaiting, what the job waits for, such as
    // "2 of 2 containers busy"; otherwise empty.
    virtual void Report(Phase phase, const std::string& obstacle) = 0;
};

// A source of requests to stop, such as signals or a connection that closes.
class StopRequests {
public:
    virtual ~StopRequests() = default;

    // A file descriptor that becomes readable when a request arrives; -1 if there is none.
    virtual int WaitOn() const = 0;

    // Whether a request has arrived since the last call.
    virtual bool Take() = 0;
};

// How a watched conversion ended.
struct Ending {
    enum class Kind {
        kReported,    // the worker has reported
        kDied,        // the worker died without a report
        kStopped,     // stopped on request, and its container is free again
        kLeftBehind,  // stopped on request; the job stays queued, and is dropped when its turn
                      // comes
        kAbandoned    // the same, but the processes that drop it may end with this program
    };
    Kind kind;
    WorkerReport report;  // for kReported
};

// Watches `worker`, whose job has `priority`, until it reports or a stop is requested. Blocks until
// then, and calls `listener` meanwhile.
//
// After a request, ends the tool and waits for the worker, which frees its container. A job that
// still waits for a container cannot be cancelled: a process in the background drops it when its
// turn comes. Where that process would end with this program, Watch waits for the turn instead. A
// second request ends every wait.
Ending Watch(Worker& worker, NAVO::VELLUMO::ContainerPoolManager::Priority priority,
             StopRequests& stops, Listener& listener);

}  // namespace vellumo::loader

#endif
