// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONTAINERPOOLMANAGER_H
#define VELLUMO_CONTAINERPOOLMANAGER_H

#include <cstdint>
#include <string>
#include <vector>

#include "ConfigManager.h"
#include "Export.h"

namespace NAVO::VELLUMO {

// Decides, across all processes, which conversion command runs when and in which container.
//
// Nothing is kept in memory: the state file (SZF_CONFIG_PATH) holds
//   "waitingQueue"  array of 3 objects by priority, each job key -> true
//   "runningQueue"  object, job key -> true
//   "navo…"         one object per container: "using" (commands in it now), "used" (ever started)
// Members of any other form read as absent and are replaced when they are written. The container
// members themselves are made by whoever sets the containers up.
//
// Every operation takes the file's lock as it needs and reports nothing but its result: a lock,
// load or save that fails is logged by ConfigManager and does not stop it. Processes may use it at
// once; the threads of one process may not.
class VELLUMO_API ContainerPoolManager {
public:
    // Larger is more urgent.
    enum Priority : int32_t { PRIORITY_LOW = 0, PRIORITY_NORMAL = 1, PRIORITY_HIGH = 2 };

    // One job; refers to the caller's data and owns nothing.
    struct Task {
        const std::string& key;                   // all elements of `command`, put together
        const std::vector<std::string>& command;  // the tool and its arguments
        Priority priority;
    };

    // `maxUsingCount` and `maxMemoryCount` (bytes) are kept but not consulted; `parallelCount` is
    // how many commands may run in one container at once.
    ContainerPoolManager(int maxUsingCount, int maxMemoryCount, int parallelCount);
    virtual ~ContainerPoolManager();
    ContainerPoolManager(const ContainerPoolManager&) = delete;
    ContainerPoolManager& operator=(const ContainerPoolManager&) = delete;

    // Queues `command`, blocks until it is the most urgent and a container is free (however long
    // that takes), runs it there under the 120-second limit and gives the slot back.
    //
    // Returns 1000 when the command ran and ended, whatever its exit status; 1001 when the time
    // limit ended it; 1002 when it could not be started or waited for; 1003, at once, when the same
    // command is both waiting and running already.
    // Raises the niceness of the calling process for good: 19 for low, 10 for normal priority.
    virtual int Execute(const std::vector<std::string>& command, Priority priority);

    // The process's one pool. The first call creates it with these arguments, later calls' are
    // ignored; it is destroyed at exit.
    static ContainerPoolManager* Instance(int maxUsingCount, int maxMemoryCount, int parallelCount);

    // Whether the job is waiting at its priority and running as well; one of the two is not enough.
    bool IsJobExist(const Task& task);

    void AddWaitingQueue(const Task& task);
    void RemoveWatitingQueue(const Task& task);
    void AddRunningQueue(const Task& task);
    void RemoveRunningQueue(const Task& task);

    // Whether no job of higher priority waits. Among jobs of one priority there is no order.
    bool IsHighestPriority(const Task& task);

    // Adds `delta` to the container's "using", 0 being the least; a delta of 1 also counts in
    // "used".
    void AdjustUsingCount(const std::string& container, int delta);
    void IncUsingCount(const std::string& container);
    void DecUsingCount(const std::string& container);

    // Sets `names` to the containers' names in ascending byte order.
    void GetContainerNames(std::vector<std::string>& names);

    // Sets `container` to the first container with a free slot. Low-priority jobs never get the
    // first container by name: it is kept for the others. False, with `container` untouched, when
    // there is none.
    bool GetAvailContainer(const Task& task, std::string& container);

    // Claims a slot in one locked step: the job leaves the waiting queue, enters the running queue
    // and counts in `container`. False when it is not its turn or no container is free.
    bool IsReadyToExecute(const Task& task, std::string& container);

    // Tries IsReadyToExecute every USLEEP_TIME microseconds until it succeeds; returns true.
    bool WaitToExecute(const Task& task, std::string& container);

    // Runs the task's command in `container`, whose slot the caller holds; results as Execute's
    // 1000 to 1002.
    int ExecuteCommand(const Task& task, const std::string& container);

private:
    int _maxUsingCount;
    int _maxMemoryCount;
    int _parallelCount;
    ConfigManager _config;
};

}  // namespace NAVO::VELLUMO

#endif
