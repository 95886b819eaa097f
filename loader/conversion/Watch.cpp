// SPDX-License-Identifier: Apache-2.0
#include "loader/conversion/Watch.h"

#include <poll.h>
#include <unistd.h>

#include <string>

#include "loader/Problem.h"
#include "loader/pool/PoolState.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;
using Clock = std::chrono::steady_clock;

constexpr auto kPoolRefresh = std::chrono::seconds(1);
constexpr int kPoolLockSecs = 1;
// Long enough for a worker that is between two steps to start its tool.
constexpr auto kGrace = std::chrono::seconds(1);
// Long enough to kill a tool, and for the worker to clean up after it.
constexpr auto kToolGrace = std::chrono::seconds(10);

}  // namespace

// Reports the phase of a worker to the listener, and what it waits for.
class PhaseReporter {
public:
    PhaseReporter(pid_t worker, core::ContainerPoolManager::Priority priority, Listener& listener)
        : _worker(worker), _priority(priority), _listener(listener) {}

    void Report() {
        const Phase phase = PhaseNow();
        _listener.Report(phase, phase == Phase::kWaiting ? Obstacle() : "");
    }

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

private:
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

namespace {

bool HasNews(const Worker& worker) {
    pollfd connection{worker.Connection(), POLLIN, 0};
    return poll(&connection, 1, 0) > 0;
}

// When process 1 ends, every process of its container or device view ends. If this program is
// process 1 or its child, its end may be the end of process 1, and so of a worker in the
// background, whose job would then stay in the queue for ever.
bool WorkerMayEndWithProgram() {
    return getpid() == 1 || getppid() == 1;
}

Ending ReadReport(const Worker& worker) {
    const std::optional<WorkerReport> report = worker.Receive();
    return report ? Ending{Ending::Kind::kReported, *report} : Ending{Ending::Kind::kDied, {}};
}

}  // namespace

Watch::Watch(Worker& worker, core::ContainerPoolManager::Priority priority, Listener& listener)
    : _worker(worker),
      _listener(listener),
      _phases(std::make_unique<PhaseReporter>(worker.Process(), priority, listener)),
      _reported(Clock::now()) {}

Watch::~Watch() = default;

std::optional<Ending> Watch::Look() {
    if (_stopper) {
        return LookWhileStopping();
    }
    if (HasNews(_worker)) {
        return ReadReport(_worker);
    }
    Report();
    return std::nullopt;
}

bool Watch::HasSeenToolEnd() {
    return _phases->PhaseNow() == Phase::kFinishing;
}

void Watch::Stop() {
    if (_stopper) {
        _leavesAtOnce = true;
        return;
    }
    _stopper.emplace(_worker.Process());
    _staysForTurn = WorkerMayEndWithProgram();
    _stopBegin = Clock::now();
    _stopDeadline = _stopBegin + kGrace;
}

std::optional<Ending> Watch::LookWhileStopping() {
    if (HasNews(_worker)) {
        _worker.Dismiss();
        return Ending{Ending::Kind::kStopped, {}};
    }
    if (MayLeave()) {
        _worker.LeaveToBackground();
        return Ending{_staysForTurn ? Ending::Kind::kAbandoned : Ending::Kind::kLeftBehind, {}};
    }
    if (_stopper->StopTool()) {
        _stopDeadline = _stopBegin + kToolGrace;
    }
    _listener.Report(Phase::kGivingUp, "");
    return std::nullopt;
}

bool Watch::MayLeave() {
    return _leavesAtOnce || (!_staysForTurn && Clock::now() >= _stopDeadline);
}

// With several workers, Look() is called more often than a phase needs to be read.
void Watch::Report() {
    const auto now = Clock::now();
    if (now - _reported >= kLookAfter) {
        _reported = now;
        _phases->Report();
    }
}

}  // namespace vellumo::loader
