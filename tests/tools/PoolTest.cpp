// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>

#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* kBusyPool = R"({
    "navo1": {"using": 1, "used": 7}, "navo2": {"using": 0, "used": 3},
    "waitingQueue": [{"low1": true}, {}, {"high1": true, "high2": true}],
    "runningQueue": {"job": true}, "runningFiles": {"/volume1/docs/a.docx:origin": {}}})";

constexpr const char* kFactoryDefault = "/var/packages/Vellumo/target/conf/config";

class PoolTest : public ToolTest {};

// Contents of the state file that mean little or nothing to the pool.
constexpr const char* kOddContents[] = {"",
                                        " ",
                                        "null",
                                        "[]",
                                        "[1,2]",
                                        "7",
                                        "\"text\"",
                                        "{",
                                        "not json",
                                        R"({"a":1)",
                                        R"({"navo1":5})",
                                        R"({"navo1":null,"navo2":[1]})",
                                        R"({"navo1":{"using":"x","used":{}}})",
                                        R"({"navo1":{"using":1e99,"used":-3}})",
                                        R"({"navo1":{"using":18446744073709551615}})",
                                        R"({"waitingQueue":{}})",
                                        R"({"waitingQueue":[1,null,"x",{}]})",
                                        R"({"waitingQueue":[{}]})",
                                        R"({"waitingQueue":"x","runningQueue":[]})",
                                        R"({"runningQueue":3,"runningFiles":4})",
                                        R"({"navo1":{"using":0}}garbage)"};

}  // namespace

TEST_F(PoolTest, ListsContainersAndJobs) {
    WriteState(kBusyPool);
    const Outcome outcome = RunTool({"pool"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out,
                AllOf(testing::ContainsRegex("navo1 +1 +7\n"),
                      testing::ContainsRegex("navo2 +0 +3\n"), HasSubstr("Waiting, high: 2\n"),
                      HasSubstr("  high2\n"), HasSubstr("Waiting, normal: 0\n"),
                      HasSubstr("Waiting, low: 1\n"), HasSubstr("Running: 1\n  job\n")));
}

TEST_F(PoolTest, ListsForPrograms) {
    WriteState(kBusyPool);
    const Json::Value json = RunForJson({"pool", "list"});
    EXPECT_EQ(json["action"], "list");
    EXPECT_EQ(json["stateFile"], kStateFile);
    EXPECT_EQ(json["containers"], Parsed(R"([{"name":"navo1","using":1,"used":7},
                                             {"name":"navo2","using":0,"used":3}])"));
    EXPECT_EQ(json["waiting"], Parsed(R"({"low":["low1"],"normal":[],"high":["high1","high2"]})"));
    EXPECT_EQ(json["running"], Parsed(R"(["job"])"));
}

TEST_F(PoolTest, ListingChangesNothing) {
    WriteState(kBusyPool);
    RunTool({"pool", "list"});
    EXPECT_EQ(StateText(), kBusyPool);
}

TEST_F(PoolTest, ShowsTheFirstJobsOfALongQueueOnly) {
    Json::Value state = Parsed(kBusyPool);
    for (int i = 0; i < 1000; ++i) {
        state["waitingQueue"][0]["job" + std::to_string(i)] = true;
    }
    WriteState(state.toStyledString());
    const Outcome outcome = RunTool({"pool"});
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("Waiting, low: 1001"), HasSubstr("... and 991 more")));
    EXPECT_EQ(RunForJson({"pool"})["waiting"]["low"].size(), 1001U);
}

TEST_F(PoolTest, RegistersContainers) {
    WriteState(R"({"other":{"kept":true}})");
    const Outcome outcome = RunTool({"pool", "add", "navo1", "navo_b.2-x"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out,
                AllOf(HasSubstr("navo1: registered\n"), HasSubstr("navo_b.2-x: registered\n")));
    EXPECT_EQ(State(), Parsed(R"({"other":{"kept":true},"navo1":{"using":0,"used":0},
                                  "navo_b.2-x":{"using":0,"used":0}})"));
}

TEST_F(PoolTest, RegistersInAnEmptyOrMissingStateFile) {
    for (const bool missing : {false, true}) {
        WriteState("");
        if (missing) {
            std::filesystem::remove(kStateFile);
        }
        ExpectStatus(RunTool({"pool", "add", "navo1"}), ExitCode::kDone);
        EXPECT_EQ(State(), Parsed(R"({"navo1":{"using":0,"used":0}})"));
    }
}

TEST_F(PoolTest, KeepsAContainerThatIsRegisteredAlready) {
    WriteState(kBusyPool);
    const Outcome outcome = RunTool({"pool", "add", "navo1", "navo3"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("navo1: registered already, kept"),
                                   HasSubstr("navo3: registered\n")));
    Json::Value expected = Parsed(kBusyPool);
    expected["navo3"] = Parsed(R"({"using":0,"used":0})");
    EXPECT_EQ(State(), expected);
}

TEST_F(PoolTest, AdvisesASecondContainer) {
    WriteState("{}");
    EXPECT_THAT(RunTool({"pool", "add", "navo1"}).out, HasSubstr("vellumo pool add navo2"));
    EXPECT_THAT(RunTool({"pool", "add", "navo2"}).out, Not(HasSubstr("only container")));
}

TEST_F(PoolTest, RefusesNamesThatNoContainerOfThePoolCanHave) {
    for (const char* name :
         {"docker1", "Navo1", "nav", "", "navo/1", "navo 1", "navo\n", "navo\xc3\xa4"}) {
        const std::string before = StateText();
        const Outcome outcome = RunTool({"pool", "add", "navo9", name});
        ExpectStatus(outcome, ExitCode::kUsage);
        EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot be a container"), HasSubstr("--help")));
        EXPECT_EQ(StateText(), before);
    }
}

TEST_F(PoolTest, RemovesContainers) {
    WriteState(kBusyPool);
    const Outcome outcome = RunTool({"pool", "remove", "navo2"});
    ExpectStatus(outcome, ExitCode::kDone);
    Json::Value expected = Parsed(kBusyPool);
    expected.removeMember("navo2");
    EXPECT_EQ(State(), expected);
}

TEST_F(PoolTest, RefusesToRemoveABusyContainerAndThenChangesNothing) {
    WriteState(kBusyPool);
    const Outcome outcome = RunTool({"pool", "remove", "navo2", "navo1"});
    ExpectStatus(outcome, ExitCode::kPool);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot remove navo1: it is in use"),
                                   HasSubstr("nothing was changed"), HasSubstr("--force")));
    EXPECT_EQ(StateText(), kBusyPool);
}

TEST_F(PoolTest, RemovesABusyContainerWithForce) {
    WriteState(kBusyPool);
    ExpectStatus(RunTool({"pool", "remove", "--force", "navo1"}), ExitCode::kDone);
    EXPECT_FALSE(State().isMember("navo1"));
}

TEST_F(PoolTest, RemovesContainersOnly) {
    WriteState(kBusyPool);
    for (const char* name : {"navo9", "waitingQueue", "runningFiles"}) {
        const Outcome outcome = RunTool({"pool", "remove", name});
        ExpectStatus(outcome, ExitCode::kPool);
        EXPECT_THAT(outcome.err, HasSubstr("no container of this name"));
    }
    EXPECT_EQ(StateText(), kBusyPool);
}

TEST_F(PoolTest, SaysWhatAResetWouldDropAndWantsItConfirmed) {
    WriteFile(kFactoryDefault, "{}");
    WriteState(kBusyPool);
    const Outcome outcome = RunTool({"pool", "reset"});
    ExpectStatus(outcome, ExitCode::kPool);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("this would drop 2 containers, 3 waiting jobs, "
                                             "1 running job, 1 other member"),
                                   HasSubstr("vellumo pool reset --yes")));
    EXPECT_EQ(StateText(), kBusyPool);
}

TEST_F(PoolTest, RestoresTheFactoryDefaultWhenConfirmed) {
    WriteFile(kFactoryDefault, R"({"factory":1})");
    WriteState(kBusyPool);
    const Outcome outcome = RunTool({"pool", "reset", "--yes"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, HasSubstr("2 containers, 3 waiting jobs"));
    EXPECT_EQ(StateText(), R"({"factory":1})");
}

TEST_F(PoolTest, ResetsWithoutConfirmationWhenNothingIsLost) {
    WriteFile(kFactoryDefault, R"({"runningQueue":{}})");
    WriteState(R"({"waitingQueue":[{},{},{}]})");
    ExpectStatus(RunTool({"pool", "reset"}), ExitCode::kDone);
    EXPECT_EQ(StateText(), R"({"runningQueue":{}})");
}

TEST_F(PoolTest, TellsProgramsWhatAResetHasDropped) {
    WriteFile(kFactoryDefault, "{}");
    WriteState(kBusyPool);
    const Json::Value json = RunForJson({"pool", "reset", "--yes"});
    EXPECT_EQ(json["action"], "reset");
    EXPECT_EQ(json["dropped"]["containers"].size(), 2U);
}

TEST_F(PoolTest, KeepsTheStateFileWhenThereIsNoFactoryDefault) {
    std::filesystem::remove(kFactoryDefault);
    WriteState(kBusyPool);
    const Outcome outcome = RunTool({"pool", "reset", "--yes"});
    ExpectStatus(outcome, ExitCode::kStateFile);
    EXPECT_THAT(outcome.err, HasSubstr(kFactoryDefault));
    EXPECT_EQ(StateText(), kBusyPool);
}

TEST_F(PoolTest, SaysWhoKeepsTheStateFileLocked) {
    const int file = open(kStateFile, O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(file, LOCK_EX), 0);
    const std::string before = StateText();
    const Outcome outcome = RunTool({"pool", "add", "navo9"});
    close(file);
    ExpectStatus(outcome, ExitCode::kStateFile);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("another process keeps the state file"), HasSubstr("fuser -v")));
    EXPECT_EQ(StateText(), before);
}

TEST_F(PoolTest, SaysThatThereIsNoPackage) {
    std::filesystem::remove_all("/var/packages/Vellumo");
    const Outcome outcome = RunTool({"pool"});
    ExpectStatus(outcome, ExitCode::kStateFile);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("No such file or directory"), HasSubstr("as root")));
}

TEST_F(PoolTest, ListsAnOddStateFileWithoutHarm) {
    for (const char* content : kOddContents) {
        SCOPED_TRACE(content);
        WriteState(content);
        const Json::Value json = RunForJson({"pool"});
        EXPECT_TRUE(json["exitCode"] == 0 || json["exitCode"] == 9) << json;
        EXPECT_EQ(StateText(), content);
    }
}

TEST_F(PoolTest, LosesNothingOfAnOddStateFileWhenAContainerIsAdded) {
    for (const char* content : kOddContents) {
        SCOPED_TRACE(content);
        WriteState(content);
        Json::Value expected = State();
        const Json::Value json = RunForJson({"pool", "add", "navo7"});
        if (json["exitCode"] == 9) {
            EXPECT_EQ(StateText(), content) << "what cannot be read is not replaced";
            continue;
        }
        expected["navo7"] = Parsed(R"({"using":0,"used":0})");
        EXPECT_EQ(json["exitCode"], 0);
        EXPECT_EQ(State(), expected);
    }
}

TEST_F(PoolTest, ResetsAnOddStateFile) {
    WriteFile(kFactoryDefault, "{}");
    for (const char* content : kOddContents) {
        SCOPED_TRACE(content);
        WriteState(content);
        ExpectStatus(RunTool({"pool", "reset", "--yes"}), ExitCode::kDone);
        EXPECT_EQ(StateText(), "{}");
    }
}
