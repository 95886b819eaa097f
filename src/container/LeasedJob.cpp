// SPDX-License-Identifier: Apache-2.0
#include "container/LeasedJob.h"

#include <navo/exec.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "common/JsonAccess.h"
#include "config/Leases.h"
#include "config/StateChange.h"
#include "config/StateMembers.h"
#include "vellumo/Constants.h"

namespace NAVO::VELLUMO {
namespace {

using vellumo::support::Lease;
using Task = ContainerPoolManager::Task;

constexpr int kHighest = ContainerPoolManager::PRIORITY_HIGH;

// The name of a waiting job's lease.
std::string WaitingName(int priority, const std::string& key) {
    return std::to_string(priority) + key;
}

// Removes the jobs of one priority that dead processes have left, up to the first that is not of
// those: it stands in the way whatever the others are.
void RemoveFirstLeft(Json::Value& jobs, int priority, StateChange& change) {
    if (!jobs.isObject()) {
        return;
    }
    std::vector<std::string> left;
    for (auto job = jobs.begin(); job != jobs.end(); ++job) {
        leases::Fields fields;
        Lease lease = leases::TakeOver(leases::kWaiting, WaitingName(priority, job.name()), fields);
        if (!lease) {
            break;
        }
        left.push_back(job.name());
        change.End(std::move(lease));
    }
    for (const std::string& key : left) {
        jobs.removeMember(key);
    }
}

// The same for all priorities above the task's.
void RemoveLeftInTheWay(Json::Value& state, const Task& task, StateChange& change) {
    if (!json::Member(state, kWaitingQueue).isArray()) {
        return;
    }
    Json::Value& queue = state[kWaitingQueue];
    for (int priority = kHighest; priority > task.priority; --priority) {
        const auto index = static_cast<Json::ArrayIndex>(priority);
        if (queue.isValidIndex(index)) {
            RemoveFirstLeft(queue[index], priority, change);
        }
    }
}

// Removes the waiting jobs of all processes that have died.
void RemoveLeftJobs(Json::Value& state, StateChange& change) {
    for (leases::Left& left : leases::TakeOverAll(leases::kWaiting)) {
        const std::string name = left.fields.empty() ? "0" : left.fields.front();
        const auto priority = static_cast<Json::ArrayIndex>(name[0] - '0');
        const Json::Value& queue = json::Member(state, kWaitingQueue);
        if (queue.isArray() && queue.isValidIndex(priority) && queue[priority].isObject()) {
            state[kWaitingQueue][priority].removeMember(name.substr(1));
        }
        change.End(std::move(left.lease));
    }
}

// The command's client holds the lease too. When this process dies before the client, the slot
// stays in use until the client has ended.
class Lent {
public:
    explicit Lent(const Lease& lease) { NLIBCExecLend(lease.Get()); }
    ~Lent() { NLIBCExecLend(-1); }
    Lent(const Lent&) = delete;
    Lent& operator=(const Lent&) = delete;
};

}  // namespace

LeasedJob::LeasedJob(ContainerPoolManager& pool, ConfigManager& config, const Task& task,
                     int parallelCount)
    : _pool(pool),
      _config(config),
      _task(task),
      _parallelCount(parallelCount),
      _left(pool, config) {
    const bool anyLeft = leases::AnyLeft(leases::kWaiting);
    StateChange change(_config);
    if (anyLeft) {
        RemoveLeftJobs(_config.config, change);
    }
    _waiting = leases::Take(leases::kWaiting, {WaitingName(_task.priority, _task.key)});
    _pool.AddWaitingQueue(_task);
}

LeasedJob::~LeasedJob() {
    if (_container.empty()) {
        StopWaiting();
    } else {
        Release();
    }
}

void LeasedJob::StopWaiting() {
    StateChange change(_config);
    _pool.RemoveWatitingQueue(_task);
    change.End(std::move(_waiting));
}

void LeasedJob::Release() {
    StateChange change(_config);
    _pool.DecUsingCount(_container);
    _pool.RemoveRunningQueue(_task);
    change.End(std::move(_slot));
}

// Looks after left slots also when this job has got one: nobody else may come for a long time.
void LeasedJob::WaitForSlot() {
    bool claimed = false;
    while (!claimed) {
        claimed = Claim();
        const bool othersAreFree = _left.GiveBackIdle();
        if (!claimed && !othersAreFree) {
            usleep(static_cast<useconds_t>(USLEEP_TIME));
        }
    }
}

bool LeasedJob::Claim() {
    StateChange change(_config);
    RemoveLeftInTheWay(_config.config, _task, change);
    _left.Find(_parallelCount);
    const bool runsTwice = json::HasMember(json::Member(_config.config, kRunningQueue), _task.key);
    if (!_pool.IsReadyToExecute(_task, _container)) {
        return false;
    }
    change.End(std::move(_waiting));
    // Of two running jobs with one key, only the first can tell whether its slot is counted.
    if (!runsTwice) {
        _slot = LeaseSlotOf({_container, _task.key}, _parallelCount);
    }
    return true;
}

int LeasedJob::Run() {
    const Lent lent(_slot);
    return _pool.ExecuteCommand(_task, _container);
}

}  // namespace NAVO::VELLUMO
