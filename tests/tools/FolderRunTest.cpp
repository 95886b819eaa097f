// SPDX-License-Identifier: Apache-2.0
// Folders whose documents are converted several at once.
#include <sys/stat.h>
#include <utime.h>

#include <csignal>
#include <sstream>

#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
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

// The documents in the results of a run, in order.
std::vector<std::string> Sources(const Json::Value& json) {
    std::vector<std::string> sources;
    for (const Json::Value& result : json["results"]) {
        sources.push_back(result["source"].asString());
    }
    return sources;
}

// The documents that a dry run shows, in order.
std::vector<std::string> Planned(std::vector<std::string> arguments) {
    arguments.emplace_back("--dry-run");
    std::istringstream lines(RunTool(arguments).out);
    std::vector<std::string> planned;
    const std::string begin = "would convert ";
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(begin)) {
            planned.push_back(line.substr(begin.size()));
        }
    }
    return planned;
}

void ChangeAt(const std::string& document, std::time_t time) {
    const utimbuf times{time, time};
    ASSERT_EQ(utime(("/volume1/docs/" + document).c_str(), &times), 0);
}

std::vector<Json::Value> LinesOf(const std::string& file) {
    std::istringstream text(ReadFile(file));
    std::vector<Json::Value> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(Parsed(line));
    }
    return lines;
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

TEST_F(FolderRunTest, ConvertsSmallDocumentsFirst) {
    MakeDocument("a.docx", std::string(300, 'x'));
    MakeDocument("c.docx", std::string(200, 'x'));
    MakeDocument("e.docx", "x");
    EXPECT_THAT(Planned({"pdf", "-r", "/docs"}),
                ElementsAre("/docs/e.docx", "/docs/b.docx", "/docs/d.docx", "/docs/c.docx",
                            "/docs/a.docx"));
    const Outcome outcome = RunTool({"pdf", "-r", "--jobs", "1", "/docs"});
    EXPECT_LT(outcome.out.find("/docs/e.docx"), outcome.out.find("/docs/b.docx"));
    EXPECT_LT(outcome.out.find("/docs/c.docx"), outcome.out.find("/docs/a.docx"));
}

TEST_F(FolderRunTest, ConvertsADocumentOfTwoNamedFoldersOnce) {
    MakeDirectory("/volume1/docs/sub");
    MakeDocument("sub/f.docx");
    EXPECT_THAT(Planned({"pdf", "-r", "/docs/sub", "/docs", "/docs/"}), SizeIs(6));
}

TEST_F(FolderRunTest, SkipsWhatProgramsLeaveInFolders) {
    for (const char* folder : {"#recycle", ".recycle", "@tmp", "kept"}) {
        MakeDirectory(std::string("/volume1/docs/") + folder);
        MakeDocument(std::string(folder) + "/f.docx");
    }
    for (const char* name : {"~$a.docx", ".~lock.a.docx#", "@b.docx"}) {
        MakeDocument(name);
    }
    EXPECT_THAT(Sources(RunForJson({"pdf", "-r", "/docs"})),
                ElementsAre("/docs/a.docx", "/docs/b.docx", "/docs/c.docx", "/docs/d.docx",
                            "/docs/e.docx", "/docs/kept/f.docx"));
}

TEST_F(FolderRunTest, SkipsWhatIsExcludedByNameOrByPath) {
    for (const char* folder : {"old", "new", "new/old"}) {
        MakeDirectory(std::string("/volume1/docs/") + folder);
        MakeDocument(std::string(folder) + "/f.docx");
    }
    EXPECT_THAT(Planned({"pdf", "-r", "--exclude", "[a-d].docx", "/docs", "--exclude", "new/o*"}),
                ElementsAre("/docs/e.docx", "/docs/new/f.docx", "/docs/old/f.docx"));
    EXPECT_THAT(Planned({"pdf", "-r", "/docs", "--exclude", "old", "--exclude=?.docx"}), IsEmpty());
}

TEST_F(FolderRunTest, SkipsWhatWasNotChangedSinceATime) {
    ChangeAt("a.docx", std::time(nullptr) - 3600);
    ChangeAt("b.docx", std::time(nullptr) - 3 * 86400);
    ChangeAt("c.docx", 1000000000);  // in 2001
    EXPECT_THAT(Planned({"pdf", "-r", "/docs", "--newer", "30m"}),
                ElementsAre("/docs/d.docx", "/docs/e.docx"));
    EXPECT_THAT(Planned({"pdf", "-r", "/docs", "--newer", "2d"}), SizeIs(3));
    EXPECT_THAT(Planned({"pdf", "-r", "/docs", "--newer", "2002-01-01"}), SizeIs(4));
    EXPECT_THAT(Planned({"pdf", "-r", "/docs", "--newer", "2001-09-01T12:00"}), SizeIs(5));
}

TEST_F(FolderRunTest, RefusesTimesThatItCannotRead) {
    for (const char* time : {"yesterday", "2026-13-01", "2026-02-30", "2d3", "d", "", "-1d"}) {
        ExpectStatus(RunTool({"pdf", "-r", "/docs", std::string("--newer=") + time}),
                     ExitCode::kUsage);
    }
    for (const char* time : {"8", "0s", "8 h", "2026-11-22", "99999999999s"}) {
        ExpectStatus(RunTool({"pdf", "-r", "/docs", std::string("--time-limit=") + time}),
                     ExitCode::kUsage);
    }
    EXPECT_THAT(DockerCalls(), IsEmpty());
}

TEST_F(FolderRunTest, ADryRunConvertsNothingAndNeedsNoPool) {
    ExpectStatus(RunTool({"pdf", "-r", "/docs", "--exclude", "[b-e].docx"}), ExitCode::kDone);
    WriteState("{}");
    const Outcome outcome = RunTool({"pdf", "-r", "--dry-run", "/docs"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, HasSubstr("4 of 5 documents would be converted, 1 fresh already"));
    const Json::Value json = RunForJson({"pdf", "-r", "--dry-run", "/docs"});
    EXPECT_EQ(json["wouldConvert"], 4);
    EXPECT_EQ(json["results"][1]["wouldConvert"], true);
    EXPECT_EQ(json["results"][1]["ok"], true);
    EXPECT_THAT(DockerCalls(), SizeIs(1));
}

TEST_F(FolderRunTest, ReportsEachFailureWhileOthersStillRun) {
    MakeDocument("broken.docx", "");
    PlayTool({.isHeld = true});
    RunningTool tool({"pdf", "-r", "--jobs", "1", "/docs", "--report", "failures"});
    ASSERT_TRUE(ToolsAreCalled());
    const std::string report = "/device/out/failures";
    ASSERT_THAT(LinesOf(report), SizeIs(1)) << "small documents come first";
    EXPECT_EQ(LinesOf(report)[0]["source"], "/docs/broken.docx");
    EXPECT_EQ(LinesOf(report)[0]["error"]["kind"], "bad-input");
    struct stat status {};
    ASSERT_EQ(stat(report.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    PlayTool({.exitStatus = 1, .productSize = -1});
    LetToolEnd();
    ExpectStatus(tool.Wait(), ExitCode::kToolFailed);
    EXPECT_THAT(LinesOf(report), SizeIs(5)) << "only the first tool, which was held, succeeds";
}

TEST_F(FolderRunTest, ReportsAFailureOfAnEarlierRunToo) {
    PlayTool({.exitStatus = 1, .productSize = -1});
    ExpectStatus(RunTool({"thumbnail", "-r", "/docs"}), ExitCode::kToolFailed);
    ExpectStatus(RunTool({"thumbnail", "-r", "/docs", "--report", "r"}), ExitCode::kToolFailed);
    EXPECT_THAT(LinesOf("/device/out/r"), SizeIs(5));
}

TEST_F(FolderRunTest, WritesNoReportOverAFileOrThroughALink) {
    WriteFile("/device/out/precious", "precious");
    ASSERT_EQ(symlink("/device/out/nothing", "/device/out/link"), 0);
    for (const char* name : {"precious", "link", "no/folder", "/volume1/docs/a.docx"}) {
        const Outcome outcome = RunTool({"pdf", "-r", "/docs", "--force", "--report", name});
        ExpectStatus(outcome, ExitCode::kOutput);
    }
    EXPECT_EQ(ReadFile("/device/out/precious"), "precious");
    EXPECT_FALSE(Exists("/device/out/nothing"));
    EXPECT_THAT(DockerCalls(), IsEmpty());
}

TEST_F(FolderRunTest, StartsNothingAfterItsTimeLimitAndSaysWhatIsLeft) {
    PlayTool({.sleepMs = 1500});
    const Outcome outcome = RunTool({"pdf", "-r", "/docs", "--time-limit", "1s"});
    ExpectStatus(outcome, ExitCode::kRunTimeLimit);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("2 of 5 documents converted, 3 not tried"),
                                   HasSubstr("3 documents left. Repeat the call to go on.")));
    ExpectNothingLeft();
    PlayTool({});
    const Outcome second = RunTool({"pdf", "-r", "/docs", "--time-limit", "1h"});
    ExpectStatus(second, ExitCode::kDone);
    EXPECT_THAT(second.out, AllOf(HasSubstr("3 of 5 documents converted, 2 fresh already"),
                                  Not(HasSubstr("left"))));
}

TEST_F(FolderRunTest, TellsProgramsThatTheTimeLimitWasReached) {
    PlayTool({.sleepMs = 1500});
    const Json::Value json = RunForJson({"pdf", "-r", "/docs", "--time-limit", "1s"});
    EXPECT_EQ(json["error"]["kind"], "run-time-limit");
    EXPECT_EQ(json["notTried"], 3);
}
