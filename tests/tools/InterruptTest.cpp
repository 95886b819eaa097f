// SPDX-License-Identifier: Apache-2.0
#include <csignal>

#include "Process.h"
#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr int kLongMs = 60000;  // longer than any test waits

bool HasWaitingJob() {
    return State()["waitingQueue"].isArray() && State()["waitingQueue"][2].size() == 1;
}

bool IsIdle() {
    const Json::Value state = State();
    return state.isObject() && state["runningQueue"].empty() && !HasWaitingJob() &&
           state["navo1"]["using"] == 0 && state["navo2"]["using"] == 0;
}

class InterruptTest : public ToolTest {
protected:
    InterruptTest() { MakeDocument("a.docx"); }

    static void OccupyContainers() {
        WriteState(R"({"navo1":{"using":1,"used":0},"navo2":{"using":1,"used":0}})");
    }
    // Nothing of the call is left in the pool, in the scratch directories or in the output, and
    // no process of it lives.
    static void ExpectAllGone() {
        EXPECT_TRUE(ComesTrue(IsIdle)) << StateText();
        EXPECT_TRUE(ComesTrue([] { return ScratchFiles().empty(); }))
            << testing::PrintToString(ScratchFiles());
        EXPECT_TRUE(ComesTrue([] { return ProcessesOf("vellumo").empty(); }));
        EXPECT_THAT(Names(kOutputDir), IsEmpty());
    }
};

// A request that waits for a container. Orphaned, the program is a child of process 1, as the main
// command of a device view is.
pid_t StartOrphan() {
    const std::string start = std::string("cd /device/out && { ") + VELLUMO_TOOL +
                              " pdf --progress plain /docs/a.docx </dev/null >/dev/null "
                              "2>/device/stderr & } && echo $!";
    const pid_t tool = std::stoi(RunProgram({"bash", "-c", start}).output);
    EXPECT_TRUE(ComesTrue(HasWaitingJob));
    return tool;
}

bool HasEnded(pid_t orphan) {
    return kill(orphan, 0) != 0;
}

class InterruptBy : public InterruptTest, public testing::WithParamInterface<int> {};

}  // namespace

TEST_P(InterruptBy, EndsTheToolAndGivesTheSlotBack) {
    PlayTool({.sleepMs = kLongMs});
    RunningTool tool({"pdf", "/docs/a.docx"});
    ASSERT_TRUE(ToolsAreCalled());
    tool.Signal(GetParam());
    const Outcome outcome = tool.Wait();
    ExpectStatus(outcome, ExitCode::kInterrupted);
    EXPECT_LT(outcome.took, Milliseconds(kLongMs / 2)) << "the tool was not ended";
    EXPECT_THAT(outcome.err, HasSubstr("cannot convert /docs/a.docx: interrupted"));
    ExpectPoolIdle();
    ExpectScratchEmpty();
    ExpectAllGone();
}

INSTANTIATE_TEST_SUITE_P(Signal, InterruptBy, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(InterruptTest, EndsAToolThatIgnoresItByForce) {
    InstallDocker("trap '' TERM\necho x > /device/docker-calls\nwhile :; do sleep 0.1; done\n");
    RunningTool tool({"pdf", "/docs/a.docx"});
    ASSERT_TRUE(ToolsAreCalled());
    tool.Signal(SIGINT);
    ExpectStatus(tool.Wait(), ExitCode::kInterrupted);
    ExpectAllGone();
}

TEST_F(InterruptTest, DoesNotStartTheRemainingDocuments) {
    MakeDocument("b.docx");
    PlayTool({.sleepMs = kLongMs});
    RunningTool tool({"pdf", "/docs/a.docx", "/docs/b.docx"});
    ASSERT_TRUE(ToolsAreCalled());
    tool.Signal(SIGINT);
    const Outcome outcome = tool.Wait();
    ExpectStatus(outcome, ExitCode::kInterrupted);
    EXPECT_THAT(outcome.out, HasSubstr("0 of 2 documents converted"));
    EXPECT_EQ(DockerCalls().size(), 1U);
    ExpectAllGone();
}

TEST_F(InterruptTest, TellsProgramsToo) {
    PlayTool({.sleepMs = kLongMs});
    RunningTool tool({"pdf", "--json", "/docs/a.docx"});
    ASSERT_TRUE(ToolsAreCalled());
    tool.Signal(SIGINT);
    const Json::Value json = Parsed(tool.Wait().out);
    EXPECT_EQ(json["exitCode"], 130);
    EXPECT_EQ(json["error"]["kind"], "interrupted");
}

TEST_F(InterruptTest, LeavesAWaitingRequestInTheQueueUntilItsTurnComes) {
    OccupyContainers();
    PlayTool({.sleepMs = kLongMs});
    RunningTool tool({"pdf", "/docs/a.docx"});
    ASSERT_TRUE(ComesTrue(HasWaitingJob));
    tool.Signal(SIGTERM);
    const Outcome outcome = tool.Wait();
    ExpectStatus(outcome, ExitCode::kInterrupted);
    EXPECT_THAT(outcome.err, HasSubstr("stays queued and is dropped when its turn comes"));
    EXPECT_TRUE(ComesTrue(HasWaitingJob));
    EXPECT_EQ(ProcessesOf("vellumo").size(), 2U) << "the request is watched in the background";

    FreeContainers();
    ExpectAllGone();
}

TEST_F(InterruptTest, DropsTheProductOfAWaitingRequestThatWasFasterThanItsEnd) {
    OccupyContainers();
    RunningTool tool({"pdf", "/docs/a.docx"});
    ASSERT_TRUE(ComesTrue(HasWaitingJob));
    tool.Signal(SIGINT);
    ExpectStatus(tool.Wait(), ExitCode::kInterrupted);
    FreeContainers();
    ExpectAllGone();
}

TEST_F(InterruptTest, LeavesAtOnceWhenInterruptedTwice) {
    OccupyContainers();
    const pid_t tool = StartOrphan();
    kill(tool, SIGTERM);
    ASSERT_TRUE(Says("giving up"));
    kill(tool, SIGTERM);
    EXPECT_TRUE(ComesTrue([tool] { return HasEnded(tool); })) << "it would stay for ever";
    FreeContainers();
    ExpectAllGone();
}

TEST_F(InterruptTest, StaysWithAWaitingRequestWhereItsEndWouldTakeItAlong) {
    OccupyContainers();
    const pid_t tool = StartOrphan();
    kill(tool, SIGTERM);
    ASSERT_TRUE(Says("giving up"));
    EXPECT_FALSE(ComesTrue([tool] { return HasEnded(tool); }, Milliseconds(2000)))
        << "with a shell as its parent it stays for one second";

    FreeContainers();
    ExpectAllGone();
    EXPECT_THAT(ReadFile("/device/stderr"),
                testing::EndsWith("cannot convert /docs/a.docx: interrupted\n"));
}

TEST_F(InterruptTest, GoesOnAfterASignalThatItsCallerIgnores) {
    PlayTool({.isHeld = true});
    const Outcome outcome = [] {
        std::signal(SIGHUP, SIG_IGN);  // as nohup does
        RunningTool tool({"pdf", "/docs/a.docx"});
        std::signal(SIGHUP, SIG_DFL);
        EXPECT_TRUE(ToolsAreCalled());
        tool.Signal(SIGHUP);
        LetToolEnd();
        return tool.Wait();
    }();
    ExpectStatus(outcome, ExitCode::kDone);
}

TEST_F(InterruptTest, AKilledProcessGroupLeavesNothingBehindOnceItsToolHasEnded) {
    PlayTool({.isHeld = true});
    RunningTool tool({"pdf", "/docs/a.docx"});
    ASSERT_TRUE(ToolsAreCalled());
    kill(-tool.Process(), SIGKILL);
    EXPECT_EQ(tool.Wait().status, -SIGKILL);
    LetToolEnd();
    ExpectAllGone();
}

TEST_F(InterruptTest, ASignalToAllProcessesOfTheProgramCostsNoSlot) {
    PlayTool({.isHeld = true});
    RunningTool tool({"pdf", "/docs/a.docx"});
    ASSERT_TRUE(ToolsAreCalled());
    for (const pid_t process : ProcessesOf("vellumo")) {
        kill(process, SIGQUIT);
    }
    EXPECT_EQ(tool.Wait().status, -SIGQUIT);
    LetToolEnd();
    ExpectAllGone();
}
