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
// It keeps nothing in memory: the state file (SZF_CONFIG_PATH) holds
//   "waitingQueue"  array of 3 objects by priority, each job key -> true
//   "runningQueue"  object, job key -> true
//   "navo…"         one object per container: "using" (commands in it now), "used" (ever started)
// A member of any other form counts as absent and is replaced when it is written. Whoever sets up
// the containers creates their members.
//
// Every operation takes the file's lock itself and reports only its own result: a lock, load or
// save that fails does not stop it (ConfigManager.h tells which failures are logged). Several
// processes may use the pool at once; several threads of one process may not.
class VELLUMO_API ContainerPoolManager {
public:
    // The larger, the more urgent.
    enum Priority : int32_t { PRIORITY_LOW = 0, PRIORITY_NORMAL = 1, PRIORITY_HIGH = 2 };

    // One job. Refers to the caller's data, which must outlive it, and owns nothing.
    struct Task {
        const std::string& key;                   // all elements of `command`, joined
        const std::vector<std::string>& command;  // the tool and its arguments
        Priority priority;                        // the queue in which it waits
    };

    // Touches no file. `maxUsingCount` and `maxMemoryCount` (bytes) are stored and not used;
    // `parallelCount` is how many commands may run in one container at once.
    ContainerPoolManager(int maxUsingCount, int maxMemoryCount, int parallelCount);
    virtual ~ContainerPoolManager();
    ContainerPoolManager(const ContainerPoolManager&) = delete;
    ContainerPoolManager& operator=(const ContainerPoolManager&) = delete;

    // Queues `command`, waits until no job of higher priority waits and a container is free, runs
    // the command there with a time limit of 120 seconds and releases the slot.
    //
    // Returns 1000 when the command ran and ended, whatever its exit status; 1001 when the time
    // limit ended it; 1002 when it could not be started or waited for; 1003, at once, when the same
    // command is both waiting and running already.
    // Raises the niceness of the calling process for good: to 19 for low priority, to 10 for normal
    // priority. Blocks until the command has ended; the wait for a container has no time limit.
    virtual int Execute(const std::vector<std::string>& command, Priority priority);

    // Returns the process's one pool, which the caller must not delete: it is destroyed at exit.
    // The first call creates it with these arguments; later calls ignore theirs.
    static ContainerPoolManager* Instance(int maxUsingCount, int maxMemoryCount, int parallelCount);

    // Whether the job is both waiting at its priority and running; one of the two is not enough.
    bool IsJobExist(const Task& task);

    // Add the job to a queue or remove it; nothing changes when it is there, or absent, already.
    void AddWaitingQueue(const Task& task);
    void RemoveWatitingQueue(const Task& task);
    void AddRunningQueue(const Task& task);
    void RemoveRunningQueue(const Task& task);

    // Whether no job of higher priority waits. Jobs of one priority have no order among themselves.
    bool IsHighestPriority(const Task& task);

    // Adds `delta` to the container's "using", which never falls below 0. A `delta` of 1 also adds
    // 1 to "used". The other two pass a `delta` of 1 and -1.
    void AdjustUsingCount(const std::string& container, int delta);
    void IncUsingCount(const std::string& container);
    void DecUsingCount(const std::string& container);

    // Sets `names` to the names of all containers, in ascending byte order.
    void GetContainerNames(std::vector<std::string>& names);

    // Sets `container` to the first container, by name, that has a free slot. Low-priority jobs
    // never get the very first container: it is reserved for the others. Returns false, with
    // `container` untouched, when no container is free.
    bool GetAvailContainer(const Task& task, std::string& container);

    // Claims a slot under one lock: sets `container`, counts the job in it and moves the job from
    // the waiting queue to the running queue. Returns false when a job of higher priority waits or
    // no container is free. The caller releases the slot with DecUsingCount and RemoveRunningQueue.
    bool IsReadyToExecute(const Task& task, std::string& container);

    // Calls IsReadyToExecute every USLEEP_TIME microseconds until it succeeds, and returns true.
    // Blocks without a time limit.
    bool WaitToExecute(const Task& task, std::string& container);

    // Runs the task's command in `container`; the caller holds the slot. Returns 1000 to 1002,
    // raises the niceness and blocks as Execute does.
    int ExecuteCommand(const Task& task, const std::string& container);

private:
    int _maxUsingCount;
    int _maxMemoryCount;
    int _parallelCount;
    ConfigManager _config;
};

}  // namespace NAVO::VELLUMO

#endif
