// SPDX-License-Identifier: Apache-2.0
// Folder runs that are told to stop twice, and what others heal afterwards.
#include <csignal>
#include <filesystem>

#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

constexpr const char* kLeases = "/var/packages/Vellumo/etc/leases";

// A tool that ends only by force.
constexpr const char* kDeafTool =
    "trap '' TERM\n"
    "echo x >> /device/docker-calls\n"
    "while :; do sleep 0.1; done\n";

void KillAll(const std::string& name) {
    for (const pid_t process : ProcessesOf(name)) {
        kill(process, SIGKILL);
    }
    EXPECT_TRUE(ComesTrue([&] { return ProcessesOf(name).empty(); }));
}

void OccupyContainers() {
    WriteState(R"({"navo1":{"using":1,"used":0},"navo2":{"using":1,"used":0}})");
}

bool TwoJobsWait() {
    return ComesTrue([] { return State()["waitingQueue"][2].size() == 2; });
}

class FolderStopTest : public ToolTest {
protected:
    FolderStopTest() {
        for (const char* name : {"a.docx", "b.docx", "c.docx", "d.docx"}) {
            MakeDocument(name);
        }
    }

    void InstallScriptedTool() const {
        std::filesystem::remove(kDocker);
        std::filesystem::create_symlink(_scripted, kDocker);
    }

    static bool HasNothingLeft() {
        return State()["runningQueue"] == Parsed("{}") &&
               State()["waitingQueue"] == Parsed("[{},{},{}]") && State()["navo1"]["using"] == 0 &&
               State()["navo2"]["using"] == 0 && ScratchFiles().empty() &&
               ProcessesOf("vellumo").empty();
    }
    static void ExpectHealed() {
        ExpectPoolIdle();
        ExpectScratchEmpty();
        EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
        EXPECT_THAT(Names(kLeases), ElementsAre("boot"));
    }
    // A run over the folder in a shell that ends at once, so that process 1 is its parent; it then
    // stays with the jobs that wait.
    static pid_t StartOrphan() {
        const std::string start = std::string("cd /device/out && { ") + VELLUMO_TOOL +
                                  " pdf -r --progress plain /docs </dev/null >/device/stdout "
                                  "2>/device/stderr & } && echo $!";
        return std::stoi(RunProgram({"bash", "-c", start}).output);
    }

private:
    static constexpr const char* kDocker = "/device/bin/docker";

    std::filesystem::path _scripted = std::filesystem::read_symlink(kDocker);
};

}  // namespace

// The signal waits for the program, so it comes before the first look at a document.
ChildProcess RunWithASignalThatWaits(const std::vector<std::string>& command) {
    return ChildProcess([command] {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGTERM);
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        raise(SIGTERM);
        return BecomeProgram(command);
    });
}

TEST_F(FolderStopTest, ASignalWhileTheFolderIsExploredEndsTheRunAsAnyOther) {
    for (const char* option : {"--dry-run", "--quiet"}) {
        ChildProcess tool = RunWithASignalThatWaits({VELLUMO_TOOL, "pdf", "-r", option, "/docs"});
        EXPECT_EQ(tool.Wait(), static_cast<int>(ExitCode::kInterrupted)) << option;
    }
    EXPECT_TRUE(DockerCalls().empty()) << "a document was converted all the same";
}

TEST_F(FolderStopTest, ASecondSignalLeavesAtOnceWithoutTheJobsThatWait) {
    OccupyContainers();
    const pid_t tool = StartOrphan();
    ASSERT_TRUE(TwoJobsWait()) << StateText();
    kill(tool, SIGTERM);
    ASSERT_TRUE(Says("[2/4] /docs/b.docx: giving up"));
    kill(tool, SIGHUP);
    EXPECT_TRUE(ComesTrue([tool] { return kill(tool, 0) != 0; })) << "it would stay for ever";
    EXPECT_THAT(ReadFile("/device/stdout"),
                HasSubstr("0 of 4 documents converted, 2 failed, 2 not tried"));
    EXPECT_EQ(State()["waitingQueue"][2].size(), 2U) << "their turn has not come";
    FreeContainers();
    EXPECT_TRUE(ComesTrue(HasNothingLeft)) << StateText();
    EXPECT_THAT(Names(kLeases), ElementsAre("boot"));
}

TEST_F(FolderStopTest, ASecondSignalLeavesAtOnceWhileToolsStillRun) {
    InstallDocker(kDeafTool);
    RunningTool tool({"pdf", "-r", "--progress", "plain", "/docs"});
    ASSERT_TRUE(ToolsAreCalled(2));
    tool.Signal(SIGINT);
    ASSERT_TRUE(Says("giving up"));
    tool.Signal(SIGINT);
    const Outcome outcome = tool.Wait();
    ExpectStatus(outcome, ExitCode::kInterrupted);
    EXPECT_THAT(outcome.out, HasSubstr("0 of 4 documents converted, 2 failed, 2 not tried"));
    EXPECT_THAT(ProcessesOf("docker"), SizeIs(2)) << "the run has waited for its tools";
    EXPECT_TRUE(ComesTrue(HasNothingLeft)) << "others end the tools: " << StateText();
    EXPECT_THAT(DockerCalls(), SizeIs(2));
}

TEST_F(FolderStopTest, TheNextRunHealsWhatAllKilledProcessesOfAStoppedOneLeave) {
    InstallDocker(kDeafTool);
    RunningTool tool({"pdf", "-r", "--progress", "plain", "/docs"});
    ASSERT_TRUE(ToolsAreCalled(2));
    tool.Signal(SIGINT);
    ASSERT_TRUE(Says("giving up"));
    tool.Signal(SIGINT);
    ExpectStatus(tool.Wait(), ExitCode::kInterrupted);
    KillAll("vellumo");
    EXPECT_EQ(State()["runningQueue"].size(), 2U) << "nobody was left to give the slots back";
    EXPECT_EQ(State()["runningFiles"].size(), 2U);
    KillAll("docker");

    InstallScriptedTool();
    const Outcome next = RunTool({"pdf", "-r", "/docs"});
    ExpectStatus(next, ExitCode::kDone);
    EXPECT_THAT(next.out, HasSubstr("4 of 4 documents converted"));
    ExpectHealed();
}

TEST_F(FolderStopTest, TheNextRunHealsWhatKilledJobsThatWaitedLeave) {
    OccupyContainers();
    const pid_t tool = StartOrphan();
    ASSERT_TRUE(TwoJobsWait()) << StateText();
    kill(tool, SIGTERM);
    ASSERT_TRUE(Says("giving up"));
    kill(tool, SIGTERM);
    ASSERT_TRUE(ComesTrue([tool] { return kill(tool, 0) != 0; }));
    KillAll("vellumo");
    EXPECT_EQ(State()["waitingQueue"][2].size(), 2U);
    EXPECT_EQ(State()["runningFiles"].size(), 2U);
    FreeContainers();
    const Outcome next = RunTool({"pdf", "-r", "/docs"});
    ExpectStatus(next, ExitCode::kDone);
    EXPECT_THAT(next.out, HasSubstr("4 of 4 documents converted"));
    ExpectHealed();
}
