// SPDX-License-Identifier: Apache-2.0
#include "Conversion.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>

#include "Messages.h"
#include "PoolState.h"
#include "ToolProcess.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;
using Clock = std::chrono::steady_clock;

constexpr int kLookMs = 100;
constexpr auto kPoolRefresh = std::chrono::seconds(1);
constexpr int kPoolLockSecs = 1;
// Long enough for a worker between two steps to come to its tool.
constexpr auto kGrace = std::chrono::seconds(1);
// Long enough for a tool to be ended by force, and for the worker to clean up after it.
constexpr auto kToolGrace = std::chrono::seconds(10);

// Tells the phases of a worker apart, and says what it waits for.
class PhaseReporter {
public:
    PhaseReporter(pid_t worker, core::ContainerPoolManager::Priority priority, Progress& progress)
        : _worker(worker), _priority(priority), _progress(progress) {}

    void Report() {
        const Activity activity = ActivityOf(_worker).activity;
        if (activity == Activity::kTool) {
            _toolSeen = true;
            _progress.Show("tool running", "120 s at most");
        } else if (activity == Activity::kFiles && !_toolSeen) {
            _progress.Show("preparing", "");
        } else if (_toolSeen) {
            _progress.Show("finishing", "");
        } else {
            _progress.Show("waiting for a slot", Obstacle());
        }
    }

private:
    const std::string& Obstacle() {
        const auto now = Clock::now();
        if (_progress.IsShown() && now - _obstacleRead >= kPoolRefresh) {
            _obstacleRead = now;
            _obstacle = ReadObstacle();
        }
        return _obstacle;
    }

    std::string ReadObstacle() const {
        try {
            return ReadPool("cannot tell what is waited for", kPoolLockSecs).Obstacle(_priority);
        } catch (const Failure& failure) {
            return failure.what();
        }
    }

    pid_t _worker;
    core::ContainerPoolManager::Priority _priority;
    Progress& _progress;
    bool _toolSeen = false;
    std::string _obstacle;
    Clock::time_point _obstacleRead;
};

struct Events {
    bool worker;     // it has reported or ended
    bool interrupt;  // an interrupt has come
};

Events WaitForEvents(const Worker& worker, Interrupts& interrupts) {
    std::array<pollfd, 2> sources{pollfd{worker.Connection(), POLLIN, 0},
                                  pollfd{interrupts.WaitOn(), POLLIN, 0}};
    poll(sources.data(), sources.size(), kLookMs);
    return {sources[0].revents != 0, sources[1].revents != 0 && interrupts.Take()};
}

// Process 1 takes along, when it ends, whatever runs beside it. Where this program is its child, or
// is it, the end of the program may be the end of a device view or a container, and so of a worker
// in the background, whose request would then stay in the queue for ever.
bool MayTakeWorkerAlong() {
    return getpid() == 1 || getppid() == 1;
}

Ending GiveUp(Worker& worker, Interrupts& interrupts, Progress& progress) {
    ToolStopper stopper(worker.Process());
    const bool stay = MayTakeWorkerAlong();
    const auto begin = Clock::now();
    auto deadline = begin + kGrace;
    while (stay || Clock::now() < deadline) {
        if (stopper.StopTool()) {
            deadline = begin + kToolGrace;
        }
        progress.Show("giving up", "interrupt again to leave");
        const Events events = WaitForEvents(worker, interrupts);
        if (events.worker) {
            worker.Dismiss();
            return {Ending::Kind::kStopped, {}};
        }
        if (events.interrupt) {
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

Ending Watch(Worker& worker, core::ContainerPoolManager::Priority priority, Interrupts& interrupts,
             Progress& progress) {
    PhaseReporter phases(worker.Process(), priority, progress);
    while (true) {
        const Events events = WaitForEvents(worker, interrupts);
        if (events.interrupt) {
            return GiveUp(worker, interrupts, progress);
        }
        if (events.worker) {
            return ReadReport(worker);
        }
        phases.Report();
    }
}

}  // namespace vellumo::cli
