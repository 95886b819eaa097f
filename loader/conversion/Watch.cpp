// SPDX-License-Identifier: Apache-2.0
#include "loader/conversion/Watch.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>

#include "loader/Problem.h"
#include "loader/conversion/ToolProcess.h"
#include "loader/pool/PoolState.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;
using Clock = std::chrono::steady_clock;

constexpr int kLookMs = 100;
constexpr auto kPoolRefresh = std::chrono::seconds(1);
constexpr int kPoolLockSecs = 1;
// Long enough for a worker that is between two steps to start its tool.
constexpr auto kGrace = std::chrono::seconds(1);
// Long enough to kill a tool, and for the worker to clean up after it.
constexpr auto kToolGrace = std::chrono::seconds(10);

// Reports the phase of a worker to the listener, and what it waits for.
class PhaseReporter {
public:
    PhaseReporter(pid_t worker, core::ContainerPoolManager::Priority priority, Listener& listener)
        : _worker(worker), _priority(priority), _listener(listener) {}

    void Report() {
        const Phase phase = PhaseNow();
        _listener.Report(phase, phase == Phase::kWaiting ? Obstacle() : "");
    }

private:
    Phase PhaseNow() {
        const Activity activity = ActivityOf(_worker).activity;
        if (activity == Activity::kTool) {
            _toolSeen = true;
            return Phase::kTool;
        }
        if (_toolSeen) {
            return Phase::kFinishing;
        }
        return activity == Activity::kFiles ? Phase::kPreparing : Phase::kWaiting;
    }

    const std::string& Obstacle() {
        const auto now = Clock::now();
        if (_listener.WantsObstacles() && now - _obstacleRead >= kPoolRefresh) {
            _obstacleRead = now;
            _obstacle = ReadObstacle();
        }
        return _obstacle;
    }

    std::string ReadObstacle() const {
        try {
            return ReadPool("cannot read what the job waits for", kPoolLockSecs)
                .Obstacle(_priority);
        } catch (const Failure& failure) {
            return failure.what();
        }
    }

    pid_t _worker;
    core::ContainerPoolManager::Priority _priority;
    Listener& _listener;
    bool _toolSeen = false;
    std::string _obstacle;
    Clock::time_point _obstacleRead;
};

struct Events {
    bool worker;  // the worker has reported or ended
    bool stop;    // a request to stop has arrived
};

Events WaitForEvents(const Worker& worker, StopRequests& stops) {
    std::array<pollfd, 2> sources{pollfd{worker.Connection(), POLLIN, 0},
                                  pollfd{stops.WaitOn(), POLLIN, 0}};
    poll(sources.data(), sources.size(), kLookMs);
    return {sources[0].revents != 0, sources[1].revents != 0 && stops.Take()};
}

// When process 1 ends, every process of its container or device view ends. If this program is
// process 1 or its child, its end may be the end of process 1, and so of a worker in the
// background, whose job would then stay in the queue for ever.
bool WorkerMayEndWithProgram() {
    return getpid() == 1 || getppid() == 1;
}

Ending GiveUp(Worker& worker, StopRequests& stops, Listener& listener) {
    ToolStopper stopper(worker.Process());
    const bool stay = WorkerMayEndWithProgram();
    const auto begin = Clock::now();
    auto deadline = begin + kGrace;
    while (stay || Clock::now() < deadline) {
        if (stopper.StopTool()) {
            deadline = begin + kToolGrace;
        }
        listener.Report(Phase::kGivingUp, "");
        const Events events = WaitForEvents(worker, stops);
        if (events.worker) {
            worker.Dismiss();
            return {Ending::Kind::kStopped, {}};
        }
        if (events.stop) {
            break;
        }
    }
    worker.LeaveToBackground();
    return {stay ? Ending::Kind::kAbandoned : Ending::Kind::kLeftBehind, {}};
}

Ending ReadReport(const Worker& worker) {
    const std::optional<WorkerReport> report = worker.Receive();
    return report ? Ending{Ending::Kind::kReported, *report} : Ending{Ending::Kind::kDied, {}};
}

}  // namespace

Ending Watch(Worker& worker, core::ContainerPoolManager::Priority priority, StopRequests& stops,
             Listener& listener) {
    PhaseReporter phases(worker.Process(), priority, listener);
    while (true) {
        const Events events = WaitForEvents(worker, stops);
        if (events.stop) {
            return GiveUp(worker, stops, listener);
        }
        if (events.worker) {
            return ReadReport(worker);
        }
        phases.Report();
    }
}

}  // namespace vellumo::loader
