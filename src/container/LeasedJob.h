// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONTAINER_LEASEDJOB_H
#define VELLUMO_CONTAINER_LEASEDJOB_H

#include <string>

#include "container/LeftSlots.h"
#include "support/Lease.h"
#include "vellumo/ContainerPoolManager.h"

namespace NAVO::VELLUMO {

// One job from its place in the waiting queue to the end of its command. Whichever way the code
// leaves, removes the job from the queue that it is in and releases its slot. Holds a lease of the
// waiting job, then one of the slot, which the command's client inherits.
class LeasedJob {
public:
    using Task = ContainerPoolManager::Task;

    // Adds the job to the waiting queue. `config` is the pool's; all are the caller's and must
    // outlive the object. `parallelCount`: how many commands may run in one container.
    LeasedJob(ContainerPoolManager& pool, ConfigManager& config, const Task& task,
              int parallelCount);
    ~LeasedJob();
    LeasedJob(const LeasedJob&) = delete;
    LeasedJob& operator=(const LeasedJob&) = delete;

    // Waits, checking every USLEEP_TIME microseconds, until the job may run, and claims a slot.
    // Meanwhile removes what processes that have died left in its way.
    void WaitForSlot();

    // Runs the command; see ContainerPoolManager::ExecuteCommand.
    int Run();

private:
    bool Claim();
    void StopWaiting();
    void Release();

    ContainerPoolManager& _pool;
    ConfigManager& _config;
    const Task& _task;
    const int _parallelCount;
    std::string _container;  // "" while the job waits
    vellumo::support::Lease _waiting;
    vellumo::support::Lease _slot;
    LeftSlots _left;
};

}  // namespace NAVO::VELLUMO

#endif
