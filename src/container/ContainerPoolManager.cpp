// SPDX-License-Identifier: Apache-2.0
#include "vellumo/ContainerPoolManager.h"

#include <unistd.h>

#include <algorithm>

#include "common/JsonAccess.h"
#include "config/StateMembers.h"
#include "vellumo/Constants.h"

namespace NAVO::VELLUMO {
namespace {

constexpr Json::ArrayIndex kPriorities = 3;

// Reads the state file: takes the shared lock and loads it. Does nothing when the caller holds a
// lock already: the content has then been loaded under that lock.
class ConfigReader {
public:
    explicit ConfigReader(ConfigManager& manager)
        : _manager(manager), _nested(manager.lockState != 0) {
        if (_nested) {
            return;
        }
        const bool locked = _manager.LockR();
        const bool loaded = _manager.Load();
        _manager.lastOk = locked && loaded;
    }
    ~ConfigReader() {
        if (!_nested) {
            const bool unlocked = _manager.Unlock();
            _manager.lastOk = _manager.lastOk && unlocked;
        }
    }
    ConfigReader(const ConfigReader&) = delete;
    ConfigReader& operator=(const ConfigReader&) = delete;

private:
    ConfigManager& _manager;
    bool _nested;
};

const Json::Value& WaitingJobs(const Json::Value& root, int priority) {
    const Json::Value& queue = json::Member(root, kWaitingQueue);
    const auto index = static_cast<Json::ArrayIndex>(priority);
    return queue.isArray() && queue.isValidIndex(index) ? queue[index]
                                                        : Json::Value::nullSingleton();
}

bool HasJobs(const Json::Value& jobs) {
    return jobs.isObject() && !jobs.empty();
}

// Returns the waiting jobs of one priority for changing. Completes the queue to its full form
// first.
Json::Value& WaitingJobsForChange(Json::Value& root, int priority) {
    Json::Value& queue = json::AsObject(root)[kWaitingQueue];
    if (!queue.isArray()) {
        queue = Json::Value(Json::arrayValue);
    }
    for (Json::ArrayIndex i = 0; i < kPriorities; ++i) {
        json::AsObject(queue[i]);
    }
    return queue[static_cast<Json::ArrayIndex>(priority)];
}

Json::Value& RunningJobsForChange(Json::Value& root) {
    return json::AsObject(json::AsObject(root)[kRunningQueue]);
}

int UsingCount(const Json::Value& root, const std::string& container) {
    return json::Integer(json::Member(json::Member(root, container), kUsing));
}

// Returns `value` + `delta`, at least 0 and at most the largest integer: the counts come from a
// file that other programs write too.
int AddToCount(int value, int delta) {
    const int64_t sum = int64_t{value} + delta;
    return static_cast<int>(std::clamp<int64_t>(sum, 0, INT32_MAX));
}

// Several changes of the loaded state. Takes them back unless they are completed: a ConfigWriter
// saves whatever there is, also when an exception leaves its scope.
class Changes {
public:
    explicit Changes(Json::Value& root) : _root(root), _before(root) {}
    ~Changes() {
        if (!_completed) {
            _root.swap(_before);
        }
    }
    Changes(const Changes&) = delete;
    Changes& operator=(const Changes&) = delete;

    void Complete() { _completed = true; }

private:
    Json::Value& _root;
    Json::Value _before;
    bool _completed = false;
};

}  // namespace

ContainerPoolManager::ContainerPoolManager(int maxUsingCount, int maxMemoryCount, int parallelCount)
    : _maxUsingCount(maxUsingCount),
      _maxMemoryCount(maxMemoryCount),
      _parallelCount(parallelCount),
      _config(SZF_CONFIG_PATH, LOCK_TIMEOUT_SECS) {}

ContainerPoolManager::~ContainerPoolManager() = default;

ContainerPoolManager* ContainerPoolManager::Instance(int maxUsingCount, int maxMemoryCount,
                                                     int parallelCount) {
    static ContainerPoolManager instance(maxUsingCount, maxMemoryCount, parallelCount);
    return &instance;
}

bool ContainerPoolManager::IsJobExist(const Task& task) {
    const ConfigReader reader(_config);
    return json::HasMember(WaitingJobs(_config.config, task.priority), task.key) &&
           json::HasMember(json::Member(_config.config, kRunningQueue), task.key);
}

void ContainerPoolManager::AddWaitingQueue(const Task& task) {
    const ConfigWriter writer(_config);
    WaitingJobsForChange(_config.config, task.priority)[task.key] = true;
}

void ContainerPoolManager::RemoveWatitingQueue(const Task& task) {
    const ConfigWriter writer(_config);
    WaitingJobsForChange(_config.config, task.priority).removeMember(task.key);
}

void ContainerPoolManager::AddRunningQueue(const Task& task) {
    const ConfigWriter writer(_config);
    RunningJobsForChange(_config.config)[task.key] = true;
}

void ContainerPoolManager::RemoveRunningQueue(const Task& task) {
    const ConfigWriter writer(_config);
    RunningJobsForChange(_config.config).removeMember(task.key);
}

bool ContainerPoolManager::IsHighestPriority(const Task& task) {
    const ConfigReader reader(_config);
    const Json::Value& high = WaitingJobs(_config.config, PRIORITY_HIGH);
    if (json::HasMember(high, task.key)) {
        return true;
    }
    if (HasJobs(high)) {
        return false;
    }
    const Json::Value& normal = WaitingJobs(_config.config, PRIORITY_NORMAL);
    return json::HasMember(normal, task.key) || !HasJobs(normal);
}

void ContainerPoolManager::AdjustUsingCount(const std::string& container, int delta) {
    const ConfigWriter writer(_config);
    Json::Value& entry = json::AsObject(json::AsObject(_config.config)[container]);
    entry[kUsing] = AddToCount(json::Integer(entry[kUsing]), delta);
    if (delta == 1) {
        entry[kUsed] = AddToCount(json::Integer(entry[kUsed]), 1);
    }
}

void ContainerPoolManager::IncUsingCount(const std::string& container) {
    AdjustUsingCount(container, 1);
}

void ContainerPoolManager::DecUsingCount(const std::string& container) {
    AdjustUsingCount(container, -1);
}

void ContainerPoolManager::GetContainerNames(std::vector<std::string>& names) {
    const ConfigReader reader(_config);
    names = ContainerNames(_config.config);
}

bool ContainerPoolManager::GetAvailContainer(const Task& task, std::string& container) {
    const ConfigReader reader(_config);
    std::vector<std::string> names;
    GetContainerNames(names);
    std::sort(names.begin(), names.end());

    // The first container is reserved for work that a user is waiting for.
    const size_t first = task.priority == PRIORITY_LOW ? 1 : 0;
    for (size_t i = first; i < names.size(); ++i) {
        if (UsingCount(_config.config, names[i]) < _parallelCount) {
            container = names[i];
            return true;
        }
    }
    return false;
}

bool ContainerPoolManager::IsReadyToExecute(const Task& task, std::string& container) {
    const ConfigWriter claim(_config);
    if (!IsHighestPriority(task)) {
        return false;
    }
    if (!GetAvailContainer(task, container)) {
        return false;
    }
    Changes changes(_config.config);
    IncUsingCount(container);
    RemoveWatitingQueue(task);
    AddRunningQueue(task);
    changes.Complete();
    return true;
}

bool ContainerPoolManager::WaitToExecute(const Task& task, std::string& container) {
    while (!IsReadyToExecute(task, container)) {
        usleep(static_cast<useconds_t>(USLEEP_TIME));
    }
    return true;
}

}  // namespace NAVO::VELLUMO
