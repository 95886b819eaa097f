// SPDX-License-Identifier: Apache-2.0
// Folders whose documents are converted several at once.
#include <csignal>
#include <set>

#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace {

constexpr int kLongMs = 60000;  // longer than any test waits
constexpr const char* kThreeContainers = R"({"navo1":{"using":0,"used":0},
    "navo2":{"using":0,"used":0},"navo3":{"using":0,"used":0}})";

// The containers in which tools have been called, in order.
std::vector<std::string> ContainersCalled() {
    std::vector<std::string> containers;
    for (const auto& call : DockerCalls()) {
        containers.push_back(call[2]);
    }
    return containers;
}

bool MoreToolsAreCalledThan(size_t count) {
    return ComesTrue([count] { return DockerCalls().size() > count; }, Milliseconds(700));
}

class FolderRunTest : public ToolTest {
protected:
    FolderRunTest() {
        for (const char* name : {"a.docx", "b.docx", "c.docx", "d.docx", "e.docx"}) {
            MakeDocument(name);
        }
    }

    static void ExpectNothingLeft() {
        ExpectScratchEmpty();
        ExpectPoolIdle();
        EXPECT_FALSE(ContainersEverOverlapped());
    }
};

}  // namespace

TEST_F(FolderRunTest, UsesEveryContainerOfThePoolAtOnce) {
    WriteState(kThreeContainers);
    PlayTool({.isHeld = true});
    RunningTool tool({"pdf", "-r", "/docs"});
    ASSERT_TRUE(ToolsAreCalled(3));
    EXPECT_THAT(ContainersCalled(), UnorderedElementsAre("navo1", "navo2", "navo3"));
    EXPECT_FALSE(MoreToolsAreCalledThan(3));
    PlayTool({});
    for (int held = 0; held < 3; ++held) {
        LetToolEnd();
        ASSERT_TRUE(ComesTrue([] { return !Exists("/device/tool-may-end"); }));
    }
    const Outcome outcome = tool.Wait();
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, HasSubstr("5 of 5 documents converted\n"));
    ExpectNothingLeft();
}

TEST_F(FolderRunTest, LeavesTheFirstContainerToOthersWhenItMakesThumbnails) {
    WriteState(kThreeContainers);
    PlayTool({.isHeld = true});
    RunningTool tool({"thumbnail", "-r", "/docs"});
    ASSERT_TRUE(ToolsAreCalled(2));
    EXPECT_FALSE(MoreToolsAreCalledThan(2));
    EXPECT_THAT(ContainersCalled(), UnorderedElementsAre("navo2", "navo3"));
    EXPECT_EQ(State()["waitingQueue"], Parsed("[{},{},{}]")) << "a third job would only wait";
}

TEST_F(FolderRunTest, ConvertsAsManyAtOnceAsIsAskedFor) {
    PlayTool({.isHeld = true});
    RunningTool tool({"pdf", "-r", "--jobs", "1", "/docs"});
    ASSERT_TRUE(ToolsAreCalled());
    EXPECT_FALSE(MoreToolsAreCalledThan(1));
}

TEST_F(FolderRunTest, NeverUsesAContainerTwiceAtOnceWhateverIsAskedFor) {
    PlayTool({.sleepMs = 20});
    const Outcome outcome = RunTool({"pdf", "-r", "--jobs", "5", "/docs"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, HasSubstr("5 of 5 documents converted\n"));
    ExpectNothingLeft();
}

TEST_F(FolderRunTest, ListsTheResultsInTheOrderOfTheirNames) {
    const Json::Value json = RunForJson({"pdf", "-r", "/docs"});
    ASSERT_EQ(json["results"].size(), 5U);
    EXPECT_EQ(json["results"][0]["source"], "/docs/a.docx");
    EXPECT_EQ(json["results"][4]["source"], "/docs/e.docx");
    EXPECT_EQ(json["converted"], 5);
}

TEST_F(FolderRunTest, GoesOnWithTheOthersWhenOneFails) {
    MakeDocument("broken.docx", "");
    const Outcome outcome = RunTool({"pdf", "-r", "/docs"});
    ExpectStatus(outcome, ExitCode::kBadInput);
    EXPECT_THAT(outcome.out, HasSubstr("5 of 6 documents converted, 1 failed\n"));
    EXPECT_THAT(outcome.err, HasSubstr("/docs/broken.docx"));
    ExpectNothingLeft();
}

TEST_F(FolderRunTest, AnInterruptEndsAllToolsAndGivesTheirSlotsBack) {
    PlayTool({.sleepMs = kLongMs});
    RunningTool tool({"pdf", "-r", "/docs"});
    ASSERT_TRUE(ToolsAreCalled(2));
    tool.Signal(SIGTERM);
    const Outcome outcome = tool.Wait();
    ExpectStatus(outcome, ExitCode::kInterrupted);
    EXPECT_LT(outcome.took, Milliseconds(kLongMs / 2)) << "the tools were not ended";
    EXPECT_THAT(outcome.out, HasSubstr("0 of 5 documents converted, 2 failed, 3 not tried"));
    EXPECT_THAT(DockerCalls(), SizeIs(2));
    ExpectPoolIdle();
    ExpectScratchEmpty();
}

TEST_F(FolderRunTest, AnInterruptLeavesEachWaitingJobInTheQueueUntilItsTurnComes) {
    WriteState(R"({"navo1":{"using":1,"used":0},"navo2":{"using":1,"used":0}})");
    RunningTool tool({"pdf", "-r", "/docs"});
    ASSERT_TRUE(ComesTrue([] { return State()["waitingQueue"][2].size() == 2; })) << StateText();
    tool.Signal(SIGINT);
    const Outcome outcome = tool.Wait();
    ExpectStatus(outcome, ExitCode::kInterrupted);
    EXPECT_THAT(outcome.err, HasSubstr("stays queued and is dropped when its turn comes"));
    FreeContainers();
    EXPECT_TRUE(ComesTrue([] { return State()["waitingQueue"] == Parsed("[{},{},{}]"); }));
    EXPECT_TRUE(ComesTrue([] { return ScratchFiles().empty(); }));
}

TEST_F(FolderRunTest, RefusesANumberOfJobsThatIsNone) {
    for (const char* number : {"0", "-1", "many", "1001"}) {
        ExpectStatus(RunTool({"pdf", "-r", "--jobs", number, "/docs"}), ExitCode::kUsage);
    }
    ExpectStatus(RunTool({"pdf", "--jobs", "2", "/docs/a.docx"}), ExitCode::kUsage);
    EXPECT_THAT(DockerCalls(), IsEmpty());
}
