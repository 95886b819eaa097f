// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_WATCH_H
#define VELLUMO_LOADER_WATCH_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "loader/conversion/ToolProcess.h"
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

class PhaseReporter;

// Watches one worker without blocking, so that a program can watch several at once: wait until the
// worker's connection becomes readable, but no longer than kLookAfter, and call Look().
//
// After a request to stop, ends the tool and waits for the worker, which frees its container. A job
// that still waits for a container cannot be cancelled: a process in the background drops it when
// its turn comes. Where that process would end with this program, the watch waits for the turn
// instead. A second request ends every wait.
class Watch {
public:
    static constexpr auto kLookAfter = std::chrono::milliseconds(100);

    // `priority`: of the worker's job. `worker` and `listener` are not owned and outlive the
    // object.
    Watch(Worker& worker, NAVO::VELLUMO::ContainerPoolManager::Priority priority,
          Listener& listener);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    // How the conversion ended; null while it goes on. Calls the listener meanwhile.
    std::optional<Ending> Look();

    // Whether the worker's tool was seen running and has ended.
    bool HasSeenToolEnd();

    // Requests the conversion to stop; the second call ends every wait.
    void Stop();

private:
    using Clock = std::chrono::steady_clock;

    std::optional<Ending> LookWhileStopping();
    bool MayLeave();
    void Report();

    Worker& _worker;
    Listener& _listener;
    std::unique_ptr<PhaseReporter> _phases;
    Clock::time_point _reported;
    std::optional<ToolStopper> _stopper;  // set when a stop was requested
    Clock::time_point _stopBegin;
    Clock::time_point _stopDeadline;
    bool _staysForTurn = false;
    bool _leavesAtOnce = false;
};

}  // namespace vellumo::loader

#endif
