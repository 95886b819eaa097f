// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>

#include <numeric>

#include "common/Log.h"
#include "common/ResultCode.h"
#include "config/Leases.h"
#include "container/Docker.h"
#include "container/LeasedJob.h"
#include "vellumo/ContainerPoolManager.h"

namespace NAVO::VELLUMO {
namespace {

constexpr const char* kSource = "ContainerPoolManager";

// Work that no user waits for must not slow down the rest of the server. The calling process keeps
// the niceness, and the docker client that it starts next inherits it.
void LowerSchedulingPriority(ContainerPoolManager::Priority priority) {
    if (priority == ContainerPoolManager::PRIORITY_LOW) {
        setpriority(PRIO_PROCESS, 0, 19);
    } else if (priority == ContainerPoolManager::PRIORITY_NORMAL) {
        setpriority(PRIO_PROCESS, 0, 10);
    }
}

}  // namespace

int ContainerPoolManager::Execute(const std::vector<std::string>& command, Priority priority) {
    const std::string key = std::accumulate(command.begin(), command.end(), std::string());
    const Task task{key, command, priority};
    leases::Prepare();
    if (IsJobExist(task)) {
        log::Failed(kSource, 85, "IsJobExist(task)");
        return kResultNotPrepared;
    }
    LeasedJob job(*this, _config, task, _parallelCount);
    job.WaitForSlot();
    return job.Run();
}

// A member like the pool's other operations, although it uses no member of the object.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
int ContainerPoolManager::ExecuteCommand(const Task& task, const std::string& container) {
    LowerSchedulingPriority(task.priority);
    const int status = docker::Run(container, task.command);
    if (status == docker::kTimeLimitExitStatus) {
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
