// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <functional>

#include "Device.h"
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

namespace {

using Pool = ContainerPoolManager;

class Execution : public DeviceTest {
protected:
    Execution() : _pool(MAX_USING_COUNT, MAX_MEMORY_COUNT, PARALLEL_COUNT) {
        PlatformDouble::Get().Reset();
    }
    ~Execution() override { PlatformDouble::Get().Reset(); }

    void ExpectSlotGivenBack() {
        EXPECT_EQ(State()["navo1"]["using"], 0);
        EXPECT_EQ(State()["runningQueue"], Parsed("{}"));
        EXPECT_EQ(State()["waitingQueue"], Parsed("[{},{},{}]"));
    }

    // What `measure` returns in a process of its own: niceness, once raised, stays.
    static int InOwnProcess(const std::function<int()>& measure) {
        return ChildProcess(measure).Wait();
    }
    int NicenessAfter(Pool::Priority priority) {
        return InOwnProcess([=, this] {
            _pool.Execute({"tool"}, priority);
            return getpriority(PRIO_PROCESS, 0);
        });
    }

    Pool _pool;
    const std::vector<std::string> _command{"pdftk", "A=x", "cat", "A", "output", "y"};
};

}  // namespace

TEST_F(Execution, RunsTheCommandInItsContainerUnderTheTimeLimit) {
    WriteState(R"({"navo_a":{}})");
    EXPECT_EQ(_pool.Execute(_command, Pool::PRIORITY_HIGH), 1000);
    EXPECT_THAT(DockerCalls(), ElementsAre(ElementsAre("/usr/local/bin/docker", "exec", "navo_a",
                                                       "timeout", "--kill-after=5", "120", "pdftk",
                                                       "A=x", "cat", "A", "output", "y")));
}

TEST_F(Execution, ArgumentsArriveAsTheyAre) {
    const std::vector<std::string> odd{
        "tool", "", "a b", "-x", "\"quoted\" 'twice'", "*?[a]", "\xc3\xa4\xff"};
    EXPECT_EQ(_pool.Execute(odd, Pool::PRIORITY_HIGH), 1000);
    std::vector<std::string> received = DockerCalls().at(0);
    received.erase(received.begin(), received.begin() + 6);
    EXPECT_EQ(received, odd);
}

TEST_F(Execution, AsksThePlatformToWaitForTheDockerClient) {
    _pool.Execute(_command, Pool::PRIORITY_HIGH);
    EXPECT_THAT(PlatformDouble::Get().CallsOf("NLIBCExecv").at(0).arguments,
                ElementsAre("/usr/local/bin/docker", "1"));
}

TEST_F(Execution, ToolThatFailsHasRun) {
    for (const int status : {1, 2, 123, 125, 126, 127, 137, 255}) {
        PlayTool({.exitStatus = status});
        EXPECT_EQ(_pool.Execute(_command, Pool::PRIORITY_HIGH), 1000) << "exit status " << status;
    }
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
    ExpectSlotGivenBack();
}

TEST_F(Execution, TimeLimitHasItsCodeAndMessage) {
    PlayTool({.exitStatus = 124});
    errno = 0;
    EXPECT_EQ(_pool.Execute(_command, Pool::PRIORITY_HIGH), 1001);
    EXPECT_THAT(SyslogSink::Get().Messages(),
                ElementsAre(LogMessage{LOG_USER | LOG_ERR, Logged("ContainerPoolManager", 235,
                                                                  "ExecuteCommand timeout")}));
    ExpectSlotGivenBack();
}

TEST_F(Execution, ClientThatCannotBeStartedHasItsCodeAndMessage) {
    PlatformDouble::Get().Always("NLIBCExecv", -1, ENOENT);
    EXPECT_EQ(_pool.Execute(_command, Pool::PRIORITY_HIGH), 1002);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(LoggedWithError("ContainerPoolManager", 238,
                                            "ExecuteCommand failed: -1", ENOENT)));
    EXPECT_EQ(errno, 0);
    ExpectSlotGivenBack();
}

TEST_F(Execution, MissingDockerClientFails) {
    unlink("/device/bin/docker");
    EXPECT_EQ(_pool.Execute(_command, Pool::PRIORITY_HIGH), 1002);
    ExpectSlotGivenBack();
}

TEST_F(Execution, ClientEndedByASignalCouldNotBeWaitedFor) {
    PlayTool({.signal = SIGKILL});
    EXPECT_EQ(_pool.Execute(_command, Pool::PRIORITY_HIGH), 1002);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(testing::HasSubstr("ExecuteCommand failed: -1")));
    ExpectSlotGivenBack();
}

TEST_F(Execution, JobThatWaitsAndRunsIsRefusedAndLeftAlone) {
    WriteState(R"({"navo1":{},"waitingQueue":[{},{},{"toolarg":true}],
                   "runningQueue":{"toolarg":true}})");
    const Json::Value before = State();
    errno = 0;
    EXPECT_EQ(_pool.Execute({"tool", "arg"}, Pool::PRIORITY_HIGH), 1003);
    EXPECT_EQ(State(), before);
    EXPECT_THAT(DockerCalls(), IsEmpty());
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(Logged("ContainerPoolManager", 85, "Failed [IsJobExist(task)]")));
}

TEST_F(Execution, RefusalCarriesErrno) {
    WriteState(R"({"waitingQueue":[{},{},{"t":true}],"runningQueue":{"t":true}})");
    PlatformDouble::Get().SetAnswer([](const PlatformCall&) -> std::optional<int> {
        errno = EAGAIN;
        return std::nullopt;
    });
    _pool.Execute({"t"}, Pool::PRIORITY_HIGH);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(LoggedWithError("ContainerPoolManager", 85, "Failed [IsJobExist(task)]",
                                            EAGAIN)));
}

TEST_F(Execution, CommandsThatConcatenateToTheSameTextAreOneJob) {
    WriteState(R"({"navo1":{},"waitingQueue":[{},{},{"abc":true}],"runningQueue":{"abc":true}})");
    EXPECT_EQ(_pool.Execute({"a", "bc"}, Pool::PRIORITY_HIGH), 1003);
    EXPECT_EQ(_pool.Execute({"ab", "c"}, Pool::PRIORITY_HIGH), 1003);
    EXPECT_EQ(_pool.Execute({"ab", "", "d"}, Pool::PRIORITY_HIGH), 1000);
}

TEST_F(Execution, JobIsQueuedByItsConcatenatedCommandWhileItRuns) {
    PlayTool({.productSize = -1, .isHeld = true});
    ChildProcess runner([] {
        Pool pool(0, 0, 1);
        return pool.Execute({"soffice", "--headless"}, Pool::PRIORITY_HIGH) == 1000 ? 0 : 1;
    });
    EXPECT_TRUE(ToolsAreCalled());
    EXPECT_EQ(State()["runningQueue"], Parsed(R"({"soffice--headless":true})"));
    EXPECT_EQ(State()["navo1"], Parsed(R"({"using":1,"used":1})"));
    EXPECT_EQ(State()["waitingQueue"], Parsed("[{},{},{}]"));
    LetToolEnd();
    EXPECT_EQ(runner.Wait(), 0);
    ExpectSlotGivenBack();
}

TEST_F(Execution, HighPriorityLeavesTheNicenessAlone) {
    EXPECT_EQ(NicenessAfter(Pool::PRIORITY_HIGH), getpriority(PRIO_PROCESS, 0));
}

TEST_F(Execution, LowPriorityRaisesTheNicenessForGood) {
    EXPECT_EQ(NicenessAfter(Pool::PRIORITY_LOW), 19);
}

TEST_F(Execution, NormalPriorityRaisesTheNicenessToTen) {
    EXPECT_EQ(NicenessAfter(Pool::PRIORITY_NORMAL), 10);
}

TEST_F(Execution, NicenessIsNotRestoredByALaterHighJob) {
    EXPECT_EQ(InOwnProcess([this] {
                  _pool.Execute({"tool"}, Pool::PRIORITY_LOW);
                  _pool.Execute({"tool"}, Pool::PRIORITY_HIGH);
                  return getpriority(PRIO_PROCESS, 0);
              }),
              19);
}

TEST_F(Execution, ThrowWhileItWaitsLeavesNoJobInTheQueue) {
    WriteState("{}");  // no container: the job would wait for ever
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        const bool isLock = call.operation == "NLIBCFileLockTimeByFile";
        // The first looks for the job, the second adds it, the third tries to claim a slot.
        if (isLock && PlatformDouble::Get().CallsOf("NLIBCFileLockTimeByFile").size() == 3) {
            EXPECT_EQ(State()["waitingQueue"][Pool::PRIORITY_HIGH].size(), 1U);
            throw std::bad_alloc();
        }
        return std::nullopt;
    });
    EXPECT_THROW(_pool.Execute(_command, Pool::PRIORITY_HIGH), std::bad_alloc);
    EXPECT_EQ(State()["waitingQueue"], Parsed("[{},{},{}]"));
}
