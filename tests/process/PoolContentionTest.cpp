// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <map>
#include <set>
#include <sstream>

#include "Device.h"
#include "StateFile.h"
#include "Worker.h"

using namespace vellumo::test;

namespace {

constexpr int kProcesses = 8;
constexpr int kJobs = 50;
constexpr int kAllJobs = kProcesses * kJobs;

using Keys = std::set<std::string>;

Keys MembersOf(const Json::Value& object) {
    if (!object.isObject()) {
        return {};
    }
    const std::vector<std::string> names = object.getMemberNames();
    return {names.begin(), names.end()};
}

// One version of the state file, as it stood when its lock was given back.
struct Version {
    std::vector<Keys> waiting;
    Keys running;
    std::map<std::string, int> usingCounts;
};

Version VersionOf(const Json::Value& state) {
    Version version{std::vector<Keys>(3), MembersOf(state["runningQueue"]), {}};
    for (Json::ArrayIndex i = 0; i < 3 && state["waitingQueue"].isArray(); ++i) {
        version.waiting[i] = MembersOf(state["waitingQueue"].get(i, Json::Value()));
    }
    for (const char* name : {"navo1", "navo2", "navo3"}) {
        version.usingCounts[name] = state[name]["using"].asInt();
    }
    return version;
}

std::vector<Version> History() {
    std::vector<Version> history;
    std::istringstream lines(ReadFile("/device/state-history"));
    for (std::string line; std::getline(lines, line);) {
        history.push_back(VersionOf(Parsed(line)));
    }
    return history;
}

int PriorityOf(const std::string& key) {
    return key.at(std::string("job-p").size()) - '0';
}

// Runs all jobs once for the tests of this file and keeps what happened.
class PoolContention : public DeviceTest {
protected:
    PoolContention() {
        // On one line, as the history of versions needs it.
        WriteState(R"({"navo1":{"using":0,"used":0},"navo2":{"using":0,"used":0},)"
                   R"("navo3":{"using":0,"used":0},"others":{"kept":true}})");
        PlayTool({.productSize = -1, .sleepMs = 20});
        std::vector<Worker> workers;
        for (int i = 0; i < kProcesses; ++i) {
            workers.push_back(PoolWorker({"jobs", "w" + std::to_string(i), std::to_string(kJobs)}));
        }
        RunTogether(workers);
    }
};

void ExpectEveryJobRanOnce() {
    std::multiset<std::string> ran;
    for (const std::vector<std::string>& call : DockerCalls()) {
        ran.insert(call.at(6) + call.at(7));
    }
    EXPECT_EQ(ran.size(), size_t{kAllJobs});
    EXPECT_EQ(Keys(ran.begin(), ran.end()).size(), ran.size()) << "a job ran twice";
}

void ExpectLowJobsOutsideTheFirstContainer() {
    std::map<int, int> jobsInFirst;
    for (const std::vector<std::string>& call : DockerCalls()) {
        if (call.at(2) == "navo1") {
            ++jobsInFirst[PriorityOf(call.at(6) + call.at(7))];
        }
    }
    EXPECT_EQ(jobsInFirst[0], 0) << "low-priority jobs in the first container";
    EXPECT_GT(jobsInFirst[1] + jobsInFirst[2], 0) << "nobody used the first container";
}

// Looks at each job that `after` has running and `before` had not.
void ExpectClaimsInOrderOfPriority(const Version& before, const Version& after) {
    for (const std::string& key : after.running) {
        if (before.running.contains(key)) {
            continue;
        }
        const int priority = PriorityOf(key);
        EXPECT_EQ(before.waiting[static_cast<size_t>(priority)].count(key), 1U)
            << key << " ran without having waited";
        for (size_t higher = static_cast<size_t>(priority) + 1; higher < 3; ++higher) {
            EXPECT_TRUE(before.waiting[higher].empty())
                << key << " was let in while a job of priority " << higher << " waited";
        }
    }
}

void ExpectHistoryInOrder(const std::vector<Version>& history) {
    ASSERT_GT(history.size(), size_t{kAllJobs} * 4);
    for (size_t i = 1; i < history.size(); ++i) {
        ExpectClaimsInOrderOfPriority(history[i - 1], history[i]);
        int inContainers = 0;
        for (const auto& [name, count] : history[i].usingCounts) {
            EXPECT_LE(count, 1) << "commands in " << name;
            inContainers += count;
        }
        EXPECT_LE(inContainers, static_cast<int>(history[i].running.size()));
        if (testing::Test::HasFailure()) {
            FAIL() << "at version " << i << " of the state file";
        }
    }
}

// Or else nothing of this would show anything.
void ExpectMoreJobsThanContainersAtOnce(const std::vector<Version>& history) {
    size_t most = 0;
    for (const Version& version : history) {
        size_t jobs = version.running.size();
        for (const Keys& waiting : version.waiting) {
            jobs += waiting.size();
        }
        most = std::max(most, jobs);
    }
    EXPECT_GT(most, 3U);
}

void ExpectAllGivenBack() {
    const Json::Value state = State();
    int used = 0;
    for (const char* name : {"navo1", "navo2", "navo3"}) {
        EXPECT_EQ(state[name]["using"], 0) << name;
        used += state[name]["used"].asInt();
    }
    EXPECT_EQ(used, kAllJobs);
    EXPECT_EQ(state["waitingQueue"], Parsed("[{},{},{}]"));
    EXPECT_EQ(state["runningQueue"], Parsed("{}"));
    EXPECT_EQ(state["others"], Parsed(R"({"kept":true})"));
}

}  // namespace

TEST_F(PoolContention, EightProcessesShareThreeContainersAsThePrioritiesSay) {
    EXPECT_FALSE(ContainersEverOverlapped()) << ReadFile("/device/overlap");
    ExpectEveryJobRanOnce();
    ExpectLowJobsOutsideTheFirstContainer();
    const std::vector<Version> history = History();
    ExpectMoreJobsThanContainersAtOnce(history);
    ExpectHistoryInOrder(history);
    ExpectAllGivenBack();
}
