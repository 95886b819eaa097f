// SPDX-License-Identifier: Apache-2.0
#include <new>

#include "Device.h"
#include "FailingMemory.h"
#include "PlatformDouble.h"
#include "Process.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "vellumo/Constants.h"
#include "vellumo/ContainerPoolManager.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Pool = ContainerPoolManager;

class Scheduler : public DeviceTest {
protected:
    Scheduler() : _pool(MAX_USING_COUNT, MAX_MEMORY_COUNT, PARALLEL_COUNT) {
        PlatformDouble::Get().Reset();
    }
    ~Scheduler() override { PlatformDouble::Get().Reset(); }

    static Pool::Task Task(const std::string& key, Pool::Priority priority) {
        static const std::vector<std::string> noCommand;
        return {key, noCommand, priority};
    }
    Pool _pool;
    const std::string _job = "job";
    Pool::Task _low = Task(_job, Pool::PRIORITY_LOW);
    Pool::Task _normal = Task(_job, Pool::PRIORITY_NORMAL);
    Pool::Task _high = Task(_job, Pool::PRIORITY_HIGH);
    std::string _container = "untouched";
};

}  // namespace

TEST_F(Scheduler, PrioritiesAreTheirQueueIndexes) {
    EXPECT_EQ(Pool::PRIORITY_LOW, 0);
    EXPECT_EQ(Pool::PRIORITY_NORMAL, 1);
    EXPECT_EQ(Pool::PRIORITY_HIGH, 2);
    EXPECT_EQ(sizeof(Pool::Priority), 4U);
}

TEST_F(Scheduler, InstanceIsOneWhateverTheArguments) {
    EXPECT_EQ(Pool::Instance(0, 1, 1), Pool::Instance(7, 8, 9));
}

TEST_F(Scheduler, FreshPoolTakesNoLock) {
    const Pool fresh(MAX_USING_COUNT, MAX_MEMORY_COUNT, PARALLEL_COUNT);
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NLIBCFileTouch"), SizeIs(1)) << "it was not seen";
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NLIBCFileLockTimeByFile"), IsEmpty());
}

TEST_F(Scheduler, WaitsForTheStateFilesLockForFiveSeconds) {
    _pool.AddWaitingQueue(_low);
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NLIBCFileLockTimeByFile").at(0).arguments,
                ElementsAre("/var/packages/Vellumo/etc/config", "1", "5"));
}

TEST_F(Scheduler, QueuesHoldJobsByPriority) {
    _pool.AddWaitingQueue(_low);
    _pool.AddWaitingQueue(_high);
    _pool.AddRunningQueue(_normal);
    EXPECT_EQ(State()["waitingQueue"], Parsed(R"([{"job":true},{},{"job":true}])"));
    EXPECT_EQ(State()["runningQueue"], Parsed(R"({"job":true})"));
    _pool.RemoveWatitingQueue(_low);
    _pool.RemoveWatitingQueue(_high);
    _pool.RemoveRunningQueue(_normal);
    EXPECT_EQ(State()["waitingQueue"], Parsed("[{},{},{}]"));
    EXPECT_EQ(State()["runningQueue"], Parsed("{}"));
}

namespace {

// Lets the allocation number `which` of a claim fail, in a process of its own. Returns false when
// the claim needs fewer than that.
bool ClaimWithoutMemory(long which, const Pool::Task& task) {
    constexpr int kNotReached = 2;
    ChildProcess process([&] {
        Pool pool(MAX_USING_COUNT, MAX_MEMORY_COUNT, PARALLEL_COUNT);
        std::string container;
        const FailingAllocation failing(which);
        try {
            pool.IsReadyToExecute(task, container);
        } catch (const std::bad_alloc&) {
            return 0;
        }
        return FailingAllocation::HasFailed() ? 0 : kNotReached;
    });
    return process.Wait() != kNotReached;
}

}  // namespace

TEST_F(Scheduler, ClaimThatFindsNoMemoryIsWholeOrNotMade) {
    long which = 0;
    bool isReached = true;
    for (; isReached; ++which) {
        WriteState(R"({"navo1":{"using":0,"used":0},"waitingQueue":[{},{},{"job":true}]})");
        isReached = ClaimWithoutMemory(which, _high);
        const Json::Value state = State();
        if (!state.isObject()) {
            continue;  // the memory was missing for the file itself
        }
        EXPECT_EQ(state["navo1"]["using"].asInt(), state["runningQueue"].isMember("job") ? 1 : 0)
            << "allocation " << which << ": " << StateText();
    }
    EXPECT_GT(which, 10);
    EXPECT_EQ(State()["navo1"]["using"], 1) << "the last claim had all its memory";
}

TEST_F(Scheduler, OtherMembersOfTheFileStayAsTheyAre) {
    WriteState(R"({"runningFiles":{"/volume1/a:origin":{}},"other":[1],"navo1":{"x":"y"}})");
    _pool.AddWaitingQueue(_low);
    _pool.IncUsingCount("navo1");
    EXPECT_EQ(State()["runningFiles"], Parsed(R"({"/volume1/a:origin":{}})"));
    EXPECT_EQ(State()["other"], Parsed("[1]"));
    EXPECT_EQ(State()["navo1"]["x"], "y");
}

TEST_F(Scheduler, JobExistsOnlyWhenItWaitsAndRuns) {
    EXPECT_FALSE(_pool.IsJobExist(_low));
    _pool.AddWaitingQueue(_low);
    EXPECT_FALSE(_pool.IsJobExist(_low)) << "only waiting";
    _pool.AddRunningQueue(_low);
    EXPECT_TRUE(_pool.IsJobExist(_low));
    EXPECT_FALSE(_pool.IsJobExist(_high)) << "waiting at another priority";
    _pool.RemoveWatitingQueue(_low);
    EXPECT_FALSE(_pool.IsJobExist(_low)) << "only running";
}

TEST_F(Scheduler, HighJobMayAlwaysGo) {
    _pool.AddWaitingQueue(Task("other", Pool::PRIORITY_HIGH));
    _pool.AddWaitingQueue(_high);
    EXPECT_TRUE(_pool.IsHighestPriority(_high));
}

TEST_F(Scheduler, NormalJobGoesWhenNoHighJobWaits) {
    _pool.AddWaitingQueue(_normal);
    EXPECT_TRUE(_pool.IsHighestPriority(_normal));
    _pool.AddWaitingQueue(Task("urgent", Pool::PRIORITY_HIGH));
    EXPECT_FALSE(_pool.IsHighestPriority(_normal));
}

TEST_F(Scheduler, LowJobGoesWhenNothingMoreUrgentWaits) {
    EXPECT_TRUE(_pool.IsHighestPriority(_low)) << "whether it is queued itself is not looked at";
    _pool.AddWaitingQueue(Task("other", Pool::PRIORITY_LOW));
    EXPECT_TRUE(_pool.IsHighestPriority(_low));
    _pool.AddWaitingQueue(Task("urgent", Pool::PRIORITY_NORMAL));
    EXPECT_FALSE(_pool.IsHighestPriority(_low));
    _pool.RemoveWatitingQueue(Task("urgent", Pool::PRIORITY_NORMAL));
    _pool.AddWaitingQueue(Task("urgent", Pool::PRIORITY_HIGH));
    EXPECT_FALSE(_pool.IsHighestPriority(_low));
}

TEST_F(Scheduler, NormalJobIsHeldBackByAHighOneThoughContainersAreFree) {
    _pool.AddWaitingQueue(_normal);
    _pool.AddWaitingQueue(Task("urgent", Pool::PRIORITY_HIGH));
    EXPECT_FALSE(_pool.IsReadyToExecute(_normal, _container));
    EXPECT_EQ(_container, "untouched");
    EXPECT_EQ(State()["navo1"]["using"], 0);
}

TEST_F(Scheduler, FirstContainerIsNotForLowJobs) {
    EXPECT_TRUE(_pool.GetAvailContainer(_low, _container));
    EXPECT_EQ(_container, "navo2");
    EXPECT_TRUE(_pool.GetAvailContainer(_normal, _container));
    EXPECT_EQ(_container, "navo1");
    EXPECT_TRUE(_pool.GetAvailContainer(_high, _container));
    EXPECT_EQ(_container, "navo1");
}

TEST_F(Scheduler, SingleContainerNeverServesLowJobs) {
    WriteState(R"({"navo1":{"using":0}})");
    EXPECT_FALSE(_pool.GetAvailContainer(_low, _container));
    EXPECT_FALSE(_pool.IsReadyToExecute(_low, _container));
    EXPECT_EQ(_container, "untouched");
    EXPECT_TRUE(_pool.IsReadyToExecute(_normal, _container));
    EXPECT_EQ(_container, "navo1");
}

TEST_F(Scheduler, NoContainerMeansNoSlot) {
    WriteState("{}");
    EXPECT_FALSE(_pool.GetAvailContainer(_low, _container));
    EXPECT_FALSE(_pool.GetAvailContainer(_high, _container));
}

TEST_F(Scheduler, BusyContainersAreSkipped) {
    WriteState(R"({"navo1":{"using":1},"navo2":{"using":2},"navo3":{"used":9}})");
    EXPECT_TRUE(_pool.GetAvailContainer(_high, _container));
    EXPECT_EQ(_container, "navo3") << "a container without a count is idle";
    WriteState(R"({"navo1":{"using":1},"navo2":{"using":1}})");
    EXPECT_FALSE(_pool.GetAvailContainer(_high, _container));
}

TEST_F(Scheduler, ParallelCountIsTheSlotsOfOneContainer) {
    Pool roomy(0, 0, 3);
    WriteState(R"({"navo1":{"using":2}})");
    EXPECT_TRUE(roomy.GetAvailContainer(_high, _container));
    WriteState(R"({"navo1":{"using":3}})");
    EXPECT_FALSE(roomy.GetAvailContainer(_high, _container));
}

TEST_F(Scheduler, ClaimMovesTheJobAndCountsIt) {
    _pool.AddWaitingQueue(_high);
    EXPECT_TRUE(_pool.IsReadyToExecute(_high, _container));
    EXPECT_EQ(_container, "navo1");
    EXPECT_EQ(State(), Parsed(R"({"navo1":{"using":1,"used":1},"navo2":{"using":0,"used":0},
                                  "waitingQueue":[{},{},{}],"runningQueue":{"job":true}})"));
}

TEST_F(Scheduler, ClaimIsOneLockedStep) {
    _pool.AddWaitingQueue(_high);
    PlatformDouble::Get().Reset();
    EXPECT_TRUE(_pool.IsReadyToExecute(_high, _container));
    EXPECT_EQ(PlatformDouble::Get().CallsOf("NLIBCFileLockTimeByFile").size(), 1U);
    EXPECT_EQ(PlatformDouble::Get().CallsOf("NLIBCFileUnlockByFile").size(), 1U);
}

TEST_F(Scheduler, ClaimRefusedSavesTheFileAllTheSame) {
    WriteState("  {\"navo1\" : {\"using\":1}}  ");
    EXPECT_FALSE(_pool.IsReadyToExecute(_high, _container));
    EXPECT_EQ(StateText(), R"({"navo1":{"using":1}})");
}

TEST_F(Scheduler, CountsNeverFallBelowZero) {
    _pool.AdjustUsingCount("navo1", -1);
    EXPECT_EQ(State()["navo1"], Parsed(R"({"using":0,"used":0})"));
}

TEST_F(Scheduler, IncrementRaisesBothCountsDecrementOne) {
    _pool.IncUsingCount("navo1");
    EXPECT_EQ(State()["navo1"], Parsed(R"({"using":1,"used":1})"));
    _pool.DecUsingCount("navo1");
    EXPECT_EQ(State()["navo1"], Parsed(R"({"using":0,"used":1})"));
}

TEST_F(Scheduler, OnlyADeltaOfExactlyOneCountsAsUsed) {
    _pool.AdjustUsingCount("navo1", 2);
    EXPECT_EQ(State()["navo1"], Parsed(R"({"using":2,"used":0})"));
}

TEST_F(Scheduler, LargestCountStaysTheLargest) {
    WriteState(R"({"navo1":{"using":2147483647,"used":2147483647}})");
    _pool.IncUsingCount("navo1");
    EXPECT_EQ(State()["navo1"], Parsed(R"({"using":2147483647,"used":2147483647})"));
}

TEST_F(Scheduler, ContainersAreTheMembersThatBeginWithNavo) {
    WriteState(R"({"navo2":{},"navo":{},"navo10":{},"navo-x y":1,"Navo3":{},"nav":{},"xnavo":{},
                   "waitingQueue":[],"runningQueue":{}})");
    std::vector<std::string> names{"old"};
    _pool.GetContainerNames(names);
    EXPECT_THAT(names, ElementsAre("navo", "navo-x y", "navo10", "navo2"));
}

TEST_F(Scheduler, WaitingTriesEveryHalfSecondUntilASlotIsFree) {
    WriteState(R"({"navo1":{"using":1}})");
    int pauses = 0;
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation != "usleep") {
            return std::nullopt;
        }
        if (++pauses == 2) {
            WriteState(R"({"navo1":{"using":0}})");  // another process gives its slot back
        }
        return 0;
    });
    EXPECT_TRUE(_pool.WaitToExecute(_high, _container));
    EXPECT_EQ(_container, "navo1");
    ASSERT_EQ(pauses, 2);
    EXPECT_THAT(PlatformDouble::Get().CallsOf("usleep").at(0).arguments, ElementsAre("500000"));
}

TEST_F(Scheduler, FailedLockDoesNotStopAnOperation) {
    PlatformDouble::Get().Always("NLIBCFileLockTimeByFile", 0);
    _pool.AddWaitingQueue(_high);
    EXPECT_EQ(State()["waitingQueue"][2], Parsed(R"({"job":true})"));
    EXPECT_EQ(State()["navo2"], Parsed(R"({"using":0,"used":0})"));
}
