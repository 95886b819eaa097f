// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <csignal>

#include "Device.h"
#include "StateFile.h"
#include "Worker.h"

using namespace vellumo::test;
using std::chrono::milliseconds;

namespace {

class StateFileLock : public DeviceTest {
protected:
    static Worker Holder(const std::string& mode) {
        Worker holder({"hold", mode});
        EXPECT_EQ(holder.ReadLine(), "held");
        return holder;
    }

    // Tries to take the lock in another process; whether it was had, and after how long.
    static bool TryLock(const std::string& mode, milliseconds& waited) {
        const auto start = std::chrono::steady_clock::now();
        const bool had = Worker({"lock", mode}).Wait() == 0;
        waited = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
        return had;
    }
    static void ExpectRefusedAfterFiveSeconds(const std::string& mode) {
        milliseconds waited{};
        EXPECT_FALSE(TryLock(mode, waited));
        EXPECT_GE(waited, milliseconds(5000));
        EXPECT_LT(waited, milliseconds(5600));
    }
    static void ExpectHadAtOnce(const std::string& mode) {
        milliseconds waited{};
        EXPECT_TRUE(TryLock(mode, waited));
        EXPECT_LT(waited, milliseconds(500));
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
    Worker waiter({"lock", "write"});
    usleep(300000);
    holder.Kill(SIGTERM);
    EXPECT_EQ(waiter.Wait(), 0);
}

TEST_F(StateFileLock, KilledHolderFreesTheLock) {
    Worker holder = Holder("write");
    holder.Kill(SIGKILL);
    EXPECT_EQ(holder.Wait(), -SIGKILL);
    ExpectHadAtOnce("write");
}

TEST_F(StateFileLock, CommandsStartedUnderTheLockDoNotHoldIt) {
    EXPECT_EQ(Worker({"child"}).Wait(), 0);
    ExpectHadAtOnce("write");
}

TEST_F(StateFileLock, NoUpdateOfManyProcessesIsLost) {
    constexpr int kProcesses = 8;
    constexpr int kUpdates = 100;
    WriteState("{}");
    std::vector<Worker> workers;
    for (int i = 0; i < kProcesses; ++i) {
        workers.push_back(Worker({"count", "w" + std::to_string(i), std::to_string(kUpdates)}));
    }
    for (Worker& worker : workers) {
        EXPECT_EQ(worker.Wait(), 0);
    }
    EXPECT_EQ(State()["total"], kProcesses * kUpdates);
    for (int i = 0; i < kProcesses; ++i) {
        EXPECT_EQ(State()["w" + std::to_string(i)], kUpdates);
    }
}
