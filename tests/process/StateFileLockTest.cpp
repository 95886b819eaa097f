// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <csignal>

#include "Device.h"
#include "StateFile.h"
#include "Worker.h"

using namespace vellumo::test;
using std::chrono::seconds;

namespace {

class StateFileLock : public DeviceTest {
protected:
    static Worker Holder(const std::string& mode) {
        Worker holder = PoolWorker({"hold", mode});
        EXPECT_EQ(holder.ReadLine(), "held");
        return holder;
    }

    static void ExpectRefusedAfterFiveSeconds(const std::string& mode) {
        const auto begin = std::chrono::steady_clock::now();
        Worker other = PoolWorker({"lock", mode});
        EXPECT_EQ(other.ReadLine(), "waiting");
        EXPECT_EQ(other.Wait(), 1);
        const auto waited = std::chrono::steady_clock::now() - begin;
        EXPECT_GE(waited, seconds(5));
        EXPECT_LT(waited, seconds(15));
    }
    static void ExpectHadAtOnce(const std::string& mode) {
        Worker other = PoolWorker({"lock", mode});
        EXPECT_EQ(other.ReadLine(), "") << "it had to wait";
        EXPECT_EQ(other.Wait(), 0);
    }
};

}  // namespace

TEST_F(StateFileLock, ReaderExcludesAWriterForFiveSeconds) {
    const Worker holder = Holder("read");
    ExpectRefusedAfterFiveSeconds("write");
}

TEST_F(StateFileLock, WriterExcludesAReaderForFiveSeconds) {
    const Worker holder = Holder("write");
    ExpectRefusedAfterFiveSeconds("read");
}

TEST_F(StateFileLock, WriterExcludesAWriterForFiveSeconds) {
    const Worker holder = Holder("write");
    ExpectRefusedAfterFiveSeconds("write");
}

TEST_F(StateFileLock, ReadersShare) {
    const Worker holder = Holder("read");
    ExpectHadAtOnce("read");
}

TEST_F(StateFileLock, WaiterGetsTheLockWhenItIsGivenBack) {
    Worker holder = Holder("write");
    Worker waiter = PoolWorker({"lock", "write"});
    EXPECT_EQ(waiter.ReadLine(), "waiting");
    holder.Signal(SIGTERM);
    EXPECT_EQ(waiter.Wait(), 0);
}

TEST_F(StateFileLock, KilledHolderFreesTheLock) {
    Worker holder = Holder("write");
    holder.Signal(SIGKILL);
    EXPECT_EQ(holder.Wait(), -SIGKILL);
    ExpectHadAtOnce("write");
}

TEST_F(StateFileLock, CommandsStartedUnderTheLockDoNotHoldIt) {
    EXPECT_EQ(PoolWorker({"child"}).Wait(), 0);
    EXPECT_EQ(RunProgram({"pgrep", "-x", "sleep"}).status, 0) << "the command has ended already";
    ExpectHadAtOnce("write");
}

TEST_F(StateFileLock, NoUpdateOfManyProcessesIsLost) {
    constexpr int kProcesses = 8;
    constexpr int kUpdates = 100;
    WriteState("{}");
    std::vector<Worker> workers;
    for (int i = 0; i < kProcesses; ++i) {
        workers.push_back(PoolWorker({"count", "w" + std::to_string(i), std::to_string(kUpdates)}));
    }
    RunTogether(workers);
    EXPECT_EQ(State()["total"], kProcesses * kUpdates);
    for (int i = 0; i < kProcesses; ++i) {
        EXPECT_EQ(State()["w" + std::to_string(i)], kUpdates);
    }
}
