// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_WATCH_H
#define VELLUMO_LOADER_WATCH_H

#include <string>

#include "loader/conversion/Worker.h"
#include "vellumo/ContainerPoolManager.h"

namespace vellumo::loader {

// What a worker does.
enum class Phase {
    kPreparing,  // brings the document into the scratch directory
    kWaiting,    // waits for a slot
    kTool,       // its tool runs
    kFinishing,  // brings the product away
    kGivingUp    // a stop was requested, and its end is waited for
};

// Whoever shows how a conversion comes along.
class Listener {
public:
    virtual ~Listener() = default;

    // Whether Report's `obstacle` is of use; reading it takes the state file's lock.
    virtual bool WantsObstacles() const = 0;

    // Called about ten times a second. `obstacle`: for kWaiting, what the job waits for ("2 of 2
    // containers busy"); else empty.
    virtual void Report(Phase phase, const std::string& obstacle) = 0;
};

// Where requests to stop come from: signals, a connection that was closed.
class StopRequests {
public:
    virtual ~StopRequests() = default;

    // A descriptor that is readable when a request has come; -1 when none can be waited for.
    virtual int WaitOn() const = 0;

    // Whether one has come since the last call.
    virtual bool Take() = 0;
};

// How the watch over one conversion ended.
struct Ending {
    enum class Kind {
        kReported,    // the worker has reported
        kDied,        // the worker died without a report
        kStopped,     // stopped on request, and its slot is free again
        kLeftBehind,  // stopped on request; the job stays queued until its turn, then it is dropped
        kAbandoned    // the same, but the processes that drop it may end with this program
    };
    Kind kind;
    WorkerReport report;  // for kReported
};

// Watches `worker`, whose job has `priority`, until it reports or a stop is requested.
//
// After a request the tool is ended and the worker waited for, which gives the slot back. A job
// that still waits for its slot cannot be taken back: a process in the background drops it when its
// turn comes, or, where that process would end with this program, it is waited for. A second
// request ends every wait.
Ending Watch(Worker& worker, NAVO::VELLUMO::ContainerPoolManager::Priority priority,
             StopRequests& stops, Listener& listener);

}  // namespace vellumo::loader

#endif
