// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>
#include <csignal>

#include <filesystem>
#include <thread>

#include "Process.h"
#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

// How long the pool is watched before what seems to be left behind is removed.
constexpr Milliseconds kPatience(7000);

constexpr const char* kContainers = "/device/containers";
constexpr const char* kScratch = "/volume1/docker/@tmp/Vellumo/@tmp";

// Plays a container engine: a file in kContainers is a container, its content "LABEL STATE".
constexpr const char* kEngine = R"(
here=/device/containers; mkdir -p $here
last=${!#}
echo "$*" >>/device/engine-calls
case $1 in
    --version) echo 'Docker version 99' ;;
    image) [ -e /device/image ] || { echo 'No such image' >&2; exit 1; } ;;
    inspect)
        [ -e $here/$last ] || { echo "No such container: $last" >&2; exit 1; }
        read -r label state <$here/$last
        case $* in *Labels*) echo "$label" ;; *) echo "$state" ;; esac
        ;;
    run)
        while [ $# -gt 0 ]; do [ "$1" = --name ] && name=$2; shift; done
        echo 'yes running' >$here/$name
        ;;
    start) echo 'yes running' >$here/$last ;;
    rm) rm $here/$last ;;
    ps) cd $here && grep -l '^yes running' * || : ;;
    top)
        # As a real one does, which finds the container's processes by this column.
        case $* in *pid*) cat /device/top 2>/dev/null ;; *) echo 'no PID field' >&2; exit 1 ;; esac
        ;;
    exec) grep -q running $here/$2 2>/dev/null || { echo "no container $2" >&2; exit 1; } ;;
    *) exit 99 ;;
esac
)";

class PoolSetupTest : public ToolTest {
protected:
    PoolSetupTest() {
        for (const char* left : {kContainers, "/device/engine-calls", "/device/top"}) {
            std::filesystem::remove_all(left);
        }
        std::filesystem::create_directory(kContainers);
        WriteFile("/device/image", "");
        InstallDocker(kEngine);
        WriteState("{}");
    }

    static std::vector<std::string> Registered() {
        std::vector<std::string> names;
        const Json::Value state = State();
        for (const std::string& name : state.getMemberNames()) {
            if (name.starts_with("navo")) {
                names.push_back(name);
            }
        }
        return names;
    }
    static std::string EngineCalls() { return ReadFile("/device/engine-calls"); }
};

}  // namespace

TEST_F(PoolSetupTest, StartsAndRegistersContainers) {
    const Outcome outcome = RunTool({"pool", "up", "--size", "3"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(Names(kContainers), ElementsAre("navo1", "navo2", "navo3"));
    EXPECT_THAT(Registered(), ElementsAre("navo1", "navo2", "navo3"));
    EXPECT_EQ(State()["navo1"], Parsed(R"({"using":0,"used":0})"));
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("navo1: started"), HasSubstr("navo3: registered")));
}

TEST_F(PoolSetupTest, StartsThemWithoutANetworkAndWithTheSourcesReadOnly) {
    RunTool({"pool", "up", "--size", "2"});
    EXPECT_THAT(
        EngineCalls(),
        AllOf(HasSubstr("--network none"), HasSubstr("--read-only"), HasSubstr("--cap-drop ALL"),
              HasSubstr("/volume1/docker/@tmp/Vellumo/@tmp/source:/Vellumo/@tmp/source:ro")));
}

TEST_F(PoolSetupTest, TellsWhyItMakesAsManyAsItDoes) {
    const Outcome outcome = RunTool({"pool", "up"});
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("core"), HasSubstr("MiB of memory")));
    EXPECT_GE(Registered().size(), 2U);
}

TEST_F(PoolSetupTest, ClosesTheStateAndTheScratchTreeToOtherAccounts) {
    constexpr const char* kPackage = "/volume1/docker/@tmp/Vellumo";
    constexpr const char* kState = "/var/packages/Vellumo/etc";
    namespace fs = std::filesystem;
    fs::create_directories(std::string(kPackage) + "/@tmp");
    for (const std::string& folder :
         {std::string(kPackage), kPackage + std::string("/@tmp"), std::string(kState)}) {
        fs::permissions(folder, fs::perms{0755});
    }
    ExpectStatus(RunTool({"pool", "up", "--size", "2"}), ExitCode::kDone);
    EXPECT_EQ(fs::status(kPackage).permissions(), fs::perms{0700});
    EXPECT_EQ(fs::status(std::string(kPackage) + "/@tmp").permissions(), fs::perms{0700});
    EXPECT_EQ(fs::status(kState).permissions(), fs::perms{0700});
}

TEST_F(PoolSetupTest, MakesTheScratchTreeForItsOwnerAlone) {
    ExpectStatus(RunTool({"pool", "up", "--size", "2"}), ExitCode::kDone);
    namespace fs = std::filesystem;
    EXPECT_EQ(fs::status("/volume1/docker/@tmp/Vellumo").permissions(), fs::perms{0700});
    EXPECT_EQ(fs::status("/volume1/docker/@tmp/Vellumo/@tmp").permissions(), fs::perms{0700});
}

TEST_F(PoolSetupTest, StartsNothingInAScratchTreeOfAnotherAccount) {
    constexpr const char* kPackage = "/volume1/docker/@tmp/Vellumo";
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "skipped: needs real root, to give a folder away";
    }
    std::filesystem::create_directories(kPackage);
    ASSERT_EQ(chown(kPackage, 65534, 65534), 0);
    const Outcome outcome = RunTool({"pool", "up", "--size", "2"});
    ExpectStatus(outcome, ExitCode::kPool);
    EXPECT_THAT(outcome.err, HasSubstr("give it to root"));
    EXPECT_THAT(EngineCalls(), Not(HasSubstr("run ")));
}

TEST_F(PoolSetupTest, MakesNoPoolOfOne) {
    ExpectStatus(RunTool({"pool", "up", "--size", "1"}), ExitCode::kUsage);
}

TEST_F(PoolSetupTest, IsSafeToRunAgain) {
    RunTool({"pool", "up", "--size", "2"});
    WriteState(R"({"navo1":{"using":0,"used":7},"navo2":{"using":0,"used":3}})");
    std::filesystem::remove("/device/engine-calls");
    ExpectStatus(RunTool({"pool", "up", "--size", "2"}), ExitCode::kDone);
    EXPECT_THAT(EngineCalls(), AllOf(Not(HasSubstr("run ")), Not(HasSubstr("rm "))));
    EXPECT_EQ(State()["navo1"]["used"], 7) << "what was counted is kept";
}

TEST_F(PoolSetupTest, RegistersTheContainersThatRunWhenTheStateFileIsGone) {
    RunTool({"pool", "up", "--size", "4"});
    WriteFile("/device/containers/navo_mine", "no running\n");
    unlink(kStateFile);
    ExpectStatus(RunTool({"pool", "up", "--size", "2"}), ExitCode::kDone);
    EXPECT_THAT(Registered(), ElementsAre("navo1", "navo2", "navo3", "navo4"));
    EXPECT_THAT(EngineCalls(), Not(HasSubstr("rm ")));
}

TEST_F(PoolSetupTest, BeginsADamagedStateFileAnewAndKeepsTheOldOne) {
    RunTool({"pool", "up", "--size", "3"});
    WriteState("no JSON \xff");
    const Outcome outcome = RunTool({"pool", "up", "--size", "2"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, HasSubstr("was damaged"));
    EXPECT_THAT(Registered(), ElementsAre("navo1", "navo2", "navo3"));
    EXPECT_EQ(ReadFile(std::string(kStateFile) + ".damaged"), "no JSON \xff");
}

TEST_F(PoolSetupTest, StartsAContainerThatHasStopped) {
    RunTool({"pool", "up", "--size", "2"});
    WriteFile("/device/containers/navo2", "yes exited\n");
    EXPECT_THAT(RunTool({"pool", "up", "--size", "2"}).out, HasSubstr("navo2: started"));
    EXPECT_EQ(ReadFile("/device/containers/navo2"), "yes running\n");
}

TEST_F(PoolSetupTest, TakesOutContainersThatAreGone) {
    WriteState(R"({"navo7":{"using":0,"used":1}})");
    RunTool({"pool", "up", "--size", "2"});
    EXPECT_THAT(Registered(), ElementsAre("navo1", "navo2"));
}

TEST_F(PoolSetupTest, KeepsContainersThatSomebodyElseHasMade) {
    WriteFile("/device/containers/navo_mine", "no running\n");
    WriteState(R"({"navo_mine":{"using":0,"used":1}})");
    RunTool({"pool", "up", "--size", "2"});
    EXPECT_THAT(Registered(), Contains("navo_mine"));
    EXPECT_THAT(Names(kContainers), Contains("navo_mine"));
}

TEST_F(PoolSetupTest, ShrinksThePoolByWhatIsIdle) {
    RunTool({"pool", "up", "--size", "4"});
    WriteState(R"({"navo1":{"using":0},"navo2":{"using":0},"navo3":{"using":0},
                   "navo4":{"using":1,"used":5}})");
    WriteFile("/device/top", "timeout --kill-after=5 120 soffice\n");
    const Outcome outcome = RunTool({"pool", "up", "--size", "2"});
    EXPECT_THAT(Registered(), ElementsAre("navo1", "navo2", "navo4"));
    EXPECT_THAT(Names(kContainers), ElementsAre("navo1", "navo2", "navo4"));
    EXPECT_THAT(outcome.out, HasSubstr("navo4: is in use, kept"));
}

TEST_F(PoolSetupTest, SetsACountRightWhenNothingRunsInTheContainer) {
    RunTool({"pool", "up", "--size", "2"});
    WriteState(R"({"navo1":{"using":1,"used":5},"navo2":{"using":0,"used":1}})");
    const Outcome outcome = RunTool({"pool", "up", "--size", "2"});
    EXPECT_THAT(outcome.out, HasSubstr("navo1: counted as busy"));
    EXPECT_GE(outcome.took, kPatience) << "a command may be about to start or to end";
    EXPECT_EQ(State()["navo1"]["using"], 0);
    EXPECT_EQ(State()["navo1"]["used"], 5);
}

TEST_F(PoolSetupTest, LeavesTheCountOfAContainerInWhichACommandRuns) {
    RunTool({"pool", "up", "--size", "2"});
    WriteState(R"({"navo1":{"using":1,"used":5},"navo2":{"using":0,"used":1}})");
    WriteFile("/device/top", "timeout --kill-after=5 120 soffice\n");
    const Outcome outcome = RunTool({"pool", "up", "--size", "2"});
    EXPECT_LT(outcome.took, kPatience);
    EXPECT_EQ(State()["navo1"]["using"], 1);
}

TEST_F(PoolSetupTest, DropsJobsThatACrashHasLeft) {
    RunTool({"pool", "up", "--size", "2"});
    WriteState(R"({"navo1":{"using":0,"used":5},"navo2":{"using":0,"used":1},
                   "runningQueue":{"a":true},"waitingQueue":[{"b":true},{},{"c":true}]})");
    const Outcome outcome = RunTool({"pool", "up", "--size", "2"});
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("running, and nothing runs; dropped: a"),
                                   HasSubstr("waiting, and nobody waits; dropped: b"),
                                   HasSubstr("waiting, and nobody waits; dropped: c")));
    EXPECT_GE(outcome.took, 2 * kPatience) << "b could not have had its turn before c";
    EXPECT_EQ(State()["runningQueue"], Parsed("{}"));
    EXPECT_EQ(State()["waitingQueue"], Parsed("[{},{},{}]"));
    EXPECT_EQ(State()["navo1"]["used"], 5);
}

TEST_F(PoolSetupTest, KeepsJobsWhileAContainerIsInUse) {
    RunTool({"pool", "up", "--size", "2"});
    const std::string state =
        R"({"navo1":{"using":1,"used":5},"navo2":{"using":0,"used":1},
            "runningQueue":{"a":true},"waitingQueue":[{},{},{"c":true}]})";
    WriteState(state);
    WriteFile("/device/top", "7 timeout --kill-after=5 120 soffice\n");
    EXPECT_LT(RunTool({"pool", "up", "--size", "2"}).took, kPatience);
    EXPECT_EQ(State(), Parsed(state));
}

TEST_F(PoolSetupTest, KeepsJobsWhenOneIsBegunMeanwhile) {
    RunTool({"pool", "up", "--size", "2"});
    WriteState(R"({"navo1":{"using":0,"used":5},"navo2":{"using":0,"used":1},
                   "waitingQueue":[{},{},{"b":true,"c":true}]})");
    std::thread others([] {
        std::this_thread::sleep_for(Milliseconds(3000));
        // One of those that wait has had its turn and is done.
        WriteState(R"({"navo1":{"using":0,"used":6},"navo2":{"using":0,"used":1},
                       "waitingQueue":[{},{},{"b":true}]})");
    });
    RunTool({"pool", "up", "--size", "2"});
    others.join();
    EXPECT_EQ(State()["waitingQueue"], Parsed(R"([{},{},{"b":true}])"));
}

TEST_F(PoolSetupTest, TellsAnEngineElsewhereWhereTheScratchTreeIs) {
    RunTool({"pool", "up", "--size", "2", "--engine-scratch", "/mnt/nas/scratch"});
    EXPECT_THAT(EngineCalls(),
                AllOf(HasSubstr("--volume /mnt/nas/scratch/source:/Vellumo/@tmp/source:ro"),
                      HasSubstr("--volume /mnt/nas/scratch/target:/Vellumo/@tmp/target")));
    EXPECT_TRUE(std::filesystem::is_directory("/volume1/docker/@tmp/Vellumo/@tmp/source"));
    EXPECT_FALSE(std::filesystem::exists("/mnt/nas")) << "that is for the engine's machine";
}

TEST_F(PoolSetupTest, SaysThatTheOtherEngineIsThere) {
    const Outcome outcome = RunTool({"pool", "up", "--engine", "embedded"});
    ExpectStatus(outcome, ExitCode::kPool);
    EXPECT_THAT(outcome.err, HasSubstr("is the docker one"));
    EXPECT_THAT(Registered(), IsEmpty());
}

TEST_F(PoolSetupTest, RegistersSandboxesOfTheEmbeddedEngine) {
    UseEmbeddedEngine();
    const Outcome outcome = RunTool({"pool", "up", "--size", "3", "--engine", "embedded"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(Registered(), SizeIs(3));
    ExpectStatus(RunTool({"pool", "up", "--size", "2"}), ExitCode::kDone);
    EXPECT_THAT(Registered(), ElementsAre("navo1", "navo2"));
    ExpectStatus(RunTool({"pool", "down"}), ExitCode::kDone);
    EXPECT_THAT(Names(kScratch), ElementsAre("source", "target")) << "no office is kept any more";
}

TEST_F(PoolSetupTest, KeepsAnOfficeWarmForEachSandbox) {
    if (RunProgram({"soffice", "--version"}).status != 0) {
        GTEST_SKIP() << "soffice is not installed";
    }
    UseEmbeddedEngine();
    EXPECT_THAT(RunTool({"pool", "up", "--size", "2"}).out, HasSubstr("navo2: its office is warm"));
    EXPECT_THAT(RunTool({"pool", "up", "--size", "2"}).out, HasSubstr("navo1: its office is warm "
                                                                      "already"));
    Json::Value status = RunForJson({"pool", "status"});
    EXPECT_EQ(status["containers"][0]["warm"], true);
    EXPECT_THAT(status["containers"][0]["memory"].asString(), testing::MatchesRegex("[0-9]+ MiB"));
    EXPECT_NE(status["containers"][0]["memory"], "0 MiB");

    RunProgram({"/usr/local/bin/docker", "stop", "navo1"});
    status = RunForJson({"pool", "status"});
    EXPECT_EQ(status["containers"][0]["warm"], false);
    EXPECT_EQ(status["containers"][1]["warm"], true);

    RunTool({"pool", "down"});
    EXPECT_THAT(RunProgram({"/usr/local/bin/docker", "status"}).output, "");
}

TEST_F(PoolSetupTest, GoesOnWithoutAWarmOfficeAndSaysWhy) {
    InstallDocker(R"(case $1 in
        --version) echo vellumo-engine 6 ;;
        start) echo 'no python' >&2; exit 125 ;;
        status) echo "$2 cold"; exit 3 ;;
    esac)");
    const Outcome outcome = RunTool({"pool", "up", "--size", "2"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out,
                HasSubstr("navo1: each document gets an office of its own: no python"));
    EXPECT_THAT(Registered(), ElementsAre("navo1", "navo2"));
}

TEST_F(PoolSetupTest, EndsAndForgetsContainers) {
    RunTool({"pool", "up", "--size", "2"});
    ExpectStatus(RunTool({"pool", "down"}), ExitCode::kDone);
    EXPECT_THAT(Names(kContainers), IsEmpty());
    EXPECT_THAT(Registered(), IsEmpty());
}

TEST_F(PoolSetupTest, EndsNoContainerThatIsInUseUnlessForced) {
    RunTool({"pool", "up", "--size", "2"});
    WriteState(R"({"navo1":{"using":1,"used":5},"navo2":{"using":0,"used":1}})");
    const Outcome outcome = RunTool({"pool", "down"});
    ExpectStatus(outcome, ExitCode::kPool);
    EXPECT_THAT(Names(kContainers), ElementsAre("navo1"));
    EXPECT_THAT(outcome.err, HasSubstr("--force"));
    ExpectStatus(RunTool({"pool", "down", "--force"}), ExitCode::kDone);
    EXPECT_THAT(Names(kContainers), IsEmpty());
}

TEST_F(PoolSetupTest, DownLeavesTheContainersOfOthersRunning) {
    WriteFile("/device/containers/navo_mine", "no running\n");
    WriteState(R"({"navo_mine":{"using":0,"used":1}})");
    ExpectStatus(RunTool({"pool", "down"}), ExitCode::kDone);
    EXPECT_THAT(Registered(), IsEmpty());
    EXPECT_THAT(Names(kContainers), ElementsAre("navo_mine"));
}

TEST_F(PoolSetupTest, ExplainsAContainerThatCannotBeStarted) {
    InstallDocker(std::string("[ \"$1\" = run ] && { echo 'no space left' >&2; exit 125; }\n") +
                  kEngine);
    const Outcome outcome = RunTool({"pool", "up", "--size", "2"});
    ExpectStatus(outcome, ExitCode::kPool);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot set up navo1"), HasSubstr("no space left")));
    EXPECT_THAT(Registered(), IsEmpty()) << "nothing is registered that does not run";
}
