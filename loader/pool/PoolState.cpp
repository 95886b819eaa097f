// SPDX-License-Identifier: Apache-2.0
#include "loader/pool/PoolState.h"

#include <algorithm>

#include "loader/Text.h"
#include "loader/pool/StateFileVisit.h"
#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;

const Json::Value& Member(const Json::Value& value, const std::string& key) {
    return value.isObject() && value.isMember(key) ? value[key] : Json::Value::nullSingleton();
}

int Integer(const Json::Value& value) {
    return value.isInt() ? value.asInt() : 0;
}

std::vector<std::string> Names(const Json::Value& value) {
    return value.isObject() ? value.getMemberNames() : std::vector<std::string>();
}

bool IsBusy(const Container& container) {
    return container.inUse >= core::PARALLEL_COUNT;
}

// The first container never takes work of low priority.
size_t FirstFor(core::ContainerPoolManager::Priority priority) {
    return priority == core::ContainerPoolManager::PRIORITY_LOW ? 1 : 0;
}

std::string BusyContainers(const PoolState& pool, size_t first) {
    const size_t usable = pool.containers.size() - std::min(first, pool.containers.size());
    if (usable == 0) {
        return "no container can take it";
    }
    const auto begin = pool.containers.end() - static_cast<std::ptrdiff_t>(usable);
    const auto busy = std::count_if(begin, pool.containers.end(), IsBusy);
    return std::to_string(busy) + " of " + Count(usable, "container") + " busy";
}

}  // namespace

Json::Value NewContainer() {
    Json::Value entry(Json::objectValue);
    entry["using"] = 0;
    entry["used"] = 0;
    return entry;
}

PoolState PoolState::Of(const Json::Value& document) {
    PoolState pool;
    for (const std::string& name : Names(document)) {
        if (name.starts_with(kContainerPrefix)) {
            const Json::Value& entry = document[name];
            pool.containers.push_back(
                {name, Integer(Member(entry, "using")), Integer(Member(entry, "used"))});
        }
    }
    const Json::Value& queue = Member(document, "waitingQueue");
    for (Json::ArrayIndex i = 0; queue.isArray() && i < pool.waiting.size(); ++i) {
        pool.waiting.at(i) = queue.isValidIndex(i) ? Names(queue[i]) : std::vector<std::string>();
    }
    pool.running = Names(Member(document, "runningQueue"));
    return pool;
}

size_t PoolState::Waiting() const {
    size_t jobs = 0;
    for (const auto& queue : waiting) {
        jobs += queue.size();
    }
    return jobs;
}

const Container* PoolState::Find(const std::string& name) const {
    const auto found =
        std::find_if(containers.begin(), containers.end(),
                     [&name](const Container& container) { return container.name == name; });
    return found == containers.end() ? nullptr : &*found;
}

size_t PoolState::Slots(core::ContainerPoolManager::Priority priority) const {
    const size_t first = std::min(FirstFor(priority), containers.size());
    return (containers.size() - first) * static_cast<size_t>(core::PARALLEL_COUNT);
}

std::string PoolState::Obstacle(core::ContainerPoolManager::Priority priority) const {
    std::string obstacle = BusyContainers(*this, FirstFor(priority));
    size_t urgent = 0;
    for (auto i = static_cast<size_t>(priority) + 1; i < waiting.size(); ++i) {
        urgent += waiting.at(i).size();
    }
    if (urgent != 0) {
        obstacle += ", " + Count(urgent, "more urgent job") + (urgent == 1 ? " waits" : " wait");
    }
    return obstacle;
}

PoolState ReadPool(const std::string& what, int timeoutSecs) {
    StateFileVisit visit(StateFileVisit::Purpose::kRead, what, timeoutSecs);
    visit.RequireSound();
    return PoolState::Of(visit.Document());
}

}  // namespace vellumo::loader
