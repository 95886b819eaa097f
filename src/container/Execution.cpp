// SPDX-License-Identifier: Apache-2.0
#include <navo/exec.h>
#include <sys/resource.h>

#include <numeric>

#include "common/Log.h"
#include "common/ResultCode.h"
#include "vellumo/ContainerPoolManager.h"

namespace NAVO::VELLUMO {
namespace {

constexpr const char* kSource = "ContainerPoolManager";
constexpr const char* kDocker = "/usr/local/bin/docker";
constexpr int kTimeLimitSecs = 120;
constexpr int kTimeLimitExitStatus = 124;  // exit status of `timeout` when the limit was reached

// Work that no user waits for must not slow down the rest of the server. The calling process keeps
// the niceness, and the docker client that it starts next inherits it.
void LowerSchedulingPriority(ContainerPoolManager::Priority priority) {
    if (priority == ContainerPoolManager::PRIORITY_LOW) {
        setpriority(PRIO_PROCESS, 0, 19);
    } else if (priority == ContainerPoolManager::PRIORITY_NORMAL) {
        setpriority(PRIO_PROCESS, 0, 10);
    }
}

std::vector<std::string> CommandInContainer(const std::string& container,
                                            const std::vector<std::string>& command) {
    std::vector<std::string> full{kDocker,   "exec",           container,
                                  "timeout", "--kill-after=5", std::to_string(kTimeLimitSecs)};
    full.insert(full.end(), command.begin(), command.end());
    return full;
}

int RunAndWait(std::vector<std::string> command) {
    std::vector<char*> argv;
    argv.reserve(command.size() + 1);
    for (std::string& element : command) {
        argv.push_back(element.data());
    }
    argv.push_back(nullptr);
    return NLIBCExecv(argv.front(), argv.data(), 1);
}

// A job in the waiting queue. Removes the job at the end, unless it has claimed a slot: claiming
// has removed it already.
class WaitingJob {
public:
    WaitingJob(ContainerPoolManager& pool, const ContainerPoolManager::Task& task)
        : _pool(pool), _task(task) {
        _pool.AddWaitingQueue(_task);
    }
    ~WaitingJob() {
        if (!_claimed) {
            _pool.RemoveWatitingQueue(_task);
        }
    }
    WaitingJob(const WaitingJob&) = delete;
    WaitingJob& operator=(const WaitingJob&) = delete;

    void WaitForSlot(std::string& container) {
        _pool.WaitToExecute(_task, container);
        _claimed = true;
    }

private:
    ContainerPoolManager& _pool;
    const ContainerPoolManager::Task& _task;
    bool _claimed = false;
};

// A claimed slot. At the end, whatever the command's result, releases the container and removes the
// job from the running queue.
class ClaimedSlot {
public:
    ClaimedSlot(ContainerPoolManager& pool, const ContainerPoolManager::Task& task,
                const std::string& container)
        : _pool(pool), _task(task), _container(container) {}
    ~ClaimedSlot() {
        _pool.DecUsingCount(_container);
        _pool.RemoveRunningQueue(_task);
    }
    ClaimedSlot(const ClaimedSlot&) = delete;
    ClaimedSlot& operator=(const ClaimedSlot&) = delete;

private:
    ContainerPoolManager& _pool;
    const ContainerPoolManager::Task& _task;
    const std::string& _container;
};

}  // namespace

int ContainerPoolManager::Execute(const std::vector<std::string>& command, Priority priority) {
    const std::string key = std::accumulate(command.begin(), command.end(), std::string());
    const Task task{key, command, priority};
    if (IsJobExist(task)) {
        log::Failed(kSource, 85, "IsJobExist(task)");
        return kResultNotPrepared;
    }
    std::string container;
    WaitingJob(*this, task).WaitForSlot(container);
    const ClaimedSlot slot(*this, task, container);
    return ExecuteCommand(task, container);
}

// A member like the pool's other operations, although it uses no member of the object.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
int ContainerPoolManager::ExecuteCommand(const Task& task, const std::string& container) {
    LowerSchedulingPriority(task.priority);
    const int status = RunAndWait(CommandInContainer(container, task.command));
    if (status == kTimeLimitExitStatus) {
        log::Error(kSource, 235, "ExecuteCommand timeout");
        return kResultTimeLimit;
    }
    if (status < 0) {
        log::Error(kSource, 238, "ExecuteCommand failed: %d", status);
        return kResultToolFailed;
    }
    return kResultSuccess;
}

}  // namespace NAVO::VELLUMO
