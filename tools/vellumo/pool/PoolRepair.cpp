// SPDX-License-Identifier: Apache-2.0
#include "pool/PoolRepair.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "loader/pool/EngineClient.h"
#include "loader/pool/PoolState.h"
#include "loader/pool/StateFileVisit.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;
using Purpose = loader::StateFileVisit::Purpose;
using std::chrono::seconds;

constexpr std::chrono::milliseconds kLook(250);

// A process that claims a container starts its command, and after the command frees the container,
// within the time limit for the state file's lock. So a count without a command for longer than
// that belongs to no process.
seconds ProofTime() {
    return seconds(core::LOCK_TIMEOUT_SECS + 2);
}

// The containers that count as busy, each with the number of commands ever started in it.
std::map<std::string, int> CountedAsBusy() {
    std::map<std::string, int> busy;
    for (const loader::Container& container :
         loader::ReadPool("cannot look at the pool", core::LOCK_TIMEOUT_SECS).containers) {
        if (container.inUse > 0) {
            busy[container.name] = container.used;
        }
    }
    return busy;
}

std::set<std::string> ContainersWithAClient() {
    std::set<std::string> containers;
    for (const loader::RunningCommand& command : loader::RunningCommands()) {
        containers.insert(command.container);
    }
    return containers;
}

// Removes the candidates in which a command runs.
void KeepIdle(std::map<std::string, int>& candidates, const Engine& engine) {
    const std::set<std::string> busy = ContainersWithAClient();
    std::erase_if(candidates, [&](const auto& candidate) {
        return busy.contains(candidate.first) || engine.RunsCommand(candidate.first);
    });
}

// The jobs that a crash may have left, while no container is in use and no command starts: all
// running jobs, and the waiting jobs of the most urgent level, which a free container would take.
struct IdleJobs {
    std::vector<std::string> running;
    size_t level = 0;  // the most urgent priority at which jobs wait
    std::vector<std::string> waiting;
    int begun = 0;  // commands ever started in all containers

    bool IsEmpty() const { return running.empty() && waiting.empty(); }
};

// Empty while a container is in use.
IdleJobs JobsWithoutContainer(const loader::PoolState& pool) {
    IdleJobs jobs;
    for (const loader::Container& container : pool.containers) {
        if (container.inUse > 0) {
            return {};
        }
        jobs.begun += container.used;
    }
    jobs.running = pool.running;
    for (size_t level = pool.waiting.size(); level-- > 0 && jobs.waiting.empty();) {
        jobs.level = level;
        jobs.waiting = pool.waiting.at(level);
    }
    return jobs;
}

// Keeps only the jobs that are still there `now`; none if a command has started since.
void KeepCommon(IdleJobs& jobs, const IdleJobs& now) {
    if (now.begun != jobs.begun) {
        jobs = {};
        return;
    }
    const auto isGone = [](const std::vector<std::string>& left) {
        return [&left](const std::string& key) {
            return std::find(left.begin(), left.end(), key) == left.end();
        };
    };
    std::erase_if(jobs.running, isGone(now.running));
    if (jobs.level != now.level) {
        jobs.waiting.clear();
    }
    std::erase_if(jobs.waiting, isGone(now.waiting));
}

// The jobs that stayed during the whole ProofTime, in which a living process would have started or
// ended them.
IdleJobs ProvablyLeft() {
    const auto look = [] {
        return JobsWithoutContainer(
            loader::ReadPool("cannot look for left jobs", core::LOCK_TIMEOUT_SECS));
    };
    IdleJobs jobs = look();
    const auto end = std::chrono::steady_clock::now() + ProofTime();
    while (!jobs.IsEmpty() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kLook);
        KeepCommon(jobs, look());
    }
    return jobs;
}

// Drops the left jobs of one priority; false if there were none.
bool DropLeft(Steps& steps) {
    IdleJobs jobs = ProvablyLeft();
    if (jobs.IsEmpty()) {
        return false;
    }
    loader::StateFileVisit visit(Purpose::kChange, "cannot drop jobs", core::LOCK_TIMEOUT_SECS);
    visit.RequireSound();
    KeepCommon(jobs, JobsWithoutContainer(loader::PoolState::Of(visit.Document())));
    if (jobs.IsEmpty()) {
        return false;
    }
    for (const std::string& key : jobs.running) {
        visit.Document()["runningQueue"].removeMember(key);
        steps.Tell("counted as running, and nothing runs; dropped: " + key);
    }
    for (const std::string& key : jobs.waiting) {
        const auto level = static_cast<Json::ArrayIndex>(jobs.level);
        visit.Document()["waitingQueue"][level].removeMember(key);
        steps.Tell("counted as waiting, and nobody waits; dropped: " + key);
    }
    visit.Save();
    return true;
}

}  // namespace

// Blocks for the whole ProofTime unless every candidate turns out to be busy.
std::map<std::string, int> IdleThoughBusy(const Engine& engine) {
    std::map<std::string, int> candidates = CountedAsBusy();
    const auto end = std::chrono::steady_clock::now() + ProofTime();
    KeepIdle(candidates, engine);
    while (!candidates.empty() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kLook);
        KeepIdle(candidates, engine);
    }
    return candidates;
}

void MendCounts(const Engine& engine, Steps& steps) {
    const std::map<std::string, int> idle = IdleThoughBusy(engine);
    if (idle.empty()) {
        return;
    }
    loader::StateFileVisit visit(Purpose::kChange, "cannot correct the counts",
                                 core::LOCK_TIMEOUT_SECS);
    visit.RequireSound();
    const loader::PoolState pool = loader::PoolState::Of(visit.Document());
    for (const auto& [name, used] : idle) {
        const loader::Container* container = pool.Find(name);
        // If it was claimed meanwhile, its command may be about to start.
        if (container != nullptr && container->inUse > 0 && container->used == used) {
            visit.Document()[name]["using"] = 0;
            steps.Tell(name + ": counted as busy, and nothing runs in it; set right");
        }
    }
    visit.Save();
}

// Repeats for each priority: only when no more urgent job waits do the less urgent ones get a turn.
void DropLeftJobs(Steps& steps) {
    while (DropLeft(steps)) {
    }
}

}  // namespace vellumo::cli
