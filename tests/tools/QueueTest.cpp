// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <filesystem>

#include "StateFile.h"
#include "Tool.h"
#include "vellumo/BaseDB.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

constexpr const char* kQueue = "/var/packages/Vellumo/etc/thumb.db";

class QueueTest : public ToolTest {
protected:
    QueueTest() {
        for (const char* suffix : {"", "-journal", ".lock"}) {
            std::filesystem::remove(std::string(kQueue) + suffix);
        }
    }

    static void Add(const std::vector<std::string>& arguments) {
        std::vector<std::string> command{"queue", "add"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        ExpectStatus(RunTool(command), ExitCode::kDone);
    }
    static Json::Value Tasks() { return RunForJson({"queue"})["tasks"]; }
    static void ExpectRefused(const std::vector<std::string>& command, ExitCode code,
                              const std::string& kind) {
        const Json::Value json = RunForJson(command);
        EXPECT_EQ(json["exitCode"], static_cast<int>(code));
        EXPECT_EQ(json["error"]["kind"], kind);
    }
};

}  // namespace

TEST_F(QueueTest, IsEmptyAtFirst) {
    const Outcome outcome = RunTool({"queue"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_EQ(outcome.out, "The queue is empty.\n");
    const Json::Value json = RunForJson({"queue"});
    EXPECT_EQ(json["action"], "list");
    EXPECT_EQ(json["database"], kQueue);
    EXPECT_EQ(json["tasks"], Parsed("[]"));
}

TEST_F(QueueTest, QueuesRealPathsWithTheirNumbers) {
    const Json::Value json = RunForJson(
        {"queue", "add", "/docs/a.docx", "/docs/it's 100%", "--op", "-3", "--type", "7"});
    EXPECT_EQ(json["queued"], Parsed(R"(["/volume1/docs/a.docx","/volume1/docs/it's 100%"])"));
    Add({"/home/dir", "--folder", "--user", "root"});
    EXPECT_EQ(Tasks(), Parsed(R"([
        {"id":"1","path":"/volume1/docs/a.docx","folder":false,"op":-3,"type":7},
        {"id":"2","path":"/volume1/docs/it's 100%","folder":false,"op":-3,"type":7},
        {"id":"3","path":"/volume1/homes/root/dir","folder":true,"op":0,"type":0}])"));
}

TEST_F(QueueTest, ListsForPeople) {
    Add({"/docs/a\nb", "--op", "5"});
    Add({"/docs/dir", "--folder", "--type", "6"});
    const Outcome outcome = RunTool({"queue", "list"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, AllOf(ContainsRegex(" ID +OP +TYPE +KIND +PATH\n"),
                                   ContainsRegex(" 1 +5 +0 +file +/volume1/docs/a\\\\x0ab\n"),
                                   ContainsRegex(" 2 +0 +6 +folder +/volume1/docs/dir\n")));
}

TEST_F(QueueTest, ListsNoMoreThanTheLimit) {
    Add({"/docs/a", "/docs/b", "/docs/c"});
    EXPECT_EQ(RunForJson({"queue", "list", "--limit", "2"})["tasks"].size(), 2U);
    EXPECT_EQ(RunForJson({"queue", "list", "--limit", "0"})["tasks"].size(), 3U);
}

TEST_F(QueueTest, KeepsATaskThatIsQueuedAlready) {
    Add({"/docs/a", "/docs/a"});
    Add({"/docs/a"});
    EXPECT_EQ(Tasks().size(), 1U);
}

TEST_F(QueueTest, ShowsTheOldestTaskUntilItIsDone) {
    Add({"/docs/b", "/docs/a"});
    EXPECT_EQ(RunForJson({"queue", "next"})["task"]["path"], "/volume1/docs/b");
    EXPECT_THAT(RunTool({"queue", "next"}).out, HasSubstr("/volume1/docs/b\n"));
    EXPECT_EQ(RunForJson({"queue", "done", "1"})["done"], Parsed(R"(["1"])"));
    EXPECT_EQ(RunForJson({"queue", "next"})["task"]["path"], "/volume1/docs/a");
}

TEST_F(QueueTest, HasNoNextTaskWhenItIsEmpty) {
    ExpectRefused({"queue", "next"}, ExitCode::kNotFound, "not-found");
    EXPECT_THAT(RunTool({"queue", "next"}).err, HasSubstr("the queue is empty"));
}

TEST_F(QueueTest, DeletesTasksOnceAndForAll) {
    Add({"/docs/a", "/docs/b", "/docs/c"});
    ExpectStatus(RunTool({"queue", "done", "1", "3", "99", "99999999999999999999"}),
                 ExitCode::kDone);
    ExpectStatus(RunTool({"queue", "done", "1"}), ExitCode::kDone);
    ASSERT_EQ(Tasks().size(), 1U);
    EXPECT_EQ(Tasks()[0]["id"], "2");
}

TEST_F(QueueTest, TakesNothingButNumbersAsIds) {
    Add({"/docs/a"});
    for (const char* id : {"", "x", "-1", "1 OR 1=1", "1; DROP TABLE tasks", "1)", "0x1", "1.0",
                           " 1", "1\n", "'1'", "id", "1e0"}) {
        ExpectRefused({"queue", "done", "7", id}, ExitCode::kUsage, "usage");
    }
    EXPECT_EQ(Tasks().size(), 1U);
}

TEST_F(QueueTest, TellsWhetherAPathIsQueued) {
    Add({"/docs/dir/sub/a.doc"});
    const Json::Value json = RunForJson({"queue", "has", "/docs/dir"});
    EXPECT_EQ(json["path"], "/volume1/docs/dir");
    EXPECT_EQ(json["queued"], true);
    EXPECT_EQ(RunTool({"queue", "has", "/docs/dir"}).out, "/volume1/docs/dir: queued\n");
    ExpectRefused({"queue", "has", "/docs/other"}, ExitCode::kNotFound, "not-found");
    ExpectRefused({"queue", "has", "/docs/' OR '1'='1"}, ExitCode::kNotFound, "not-found");
}

TEST_F(QueueTest, QueuesNothingWhenOnePathIsWrong) {
    ExpectRefused({"queue", "add", "/docs/a", "/nope/b"}, ExitCode::kBadInput, "bad-input");
    ExpectRefused({"queue", "add", "/docs/a", "/docs/../b"}, ExitCode::kBadInput, "bad-input");
    ExpectRefused({"queue", "has", "b"}, ExitCode::kBadInput, "bad-input");
    EXPECT_EQ(Tasks(), Parsed("[]"));
}

TEST_F(QueueTest, RefusesNumbersThatAreNone) {
    for (const char* number : {"x", "2147483648", "-2147483649", "1.5", ""}) {
        ExpectRefused({"queue", "add", "/docs/a", "--op", number}, ExitCode::kUsage, "usage");
        ExpectRefused({"queue", "add", "/docs/a", "--type", number}, ExitCode::kUsage, "usage");
    }
    ExpectRefused({"queue", "list", "--limit", "-1"}, ExitCode::kUsage, "usage");
    EXPECT_EQ(Tasks(), Parsed("[]"));
}

TEST_F(QueueTest, TellsThatTheFolderOfTheDatabaseIsMissing) {
    std::filesystem::remove_all("/var/packages/Vellumo/etc");
    for (const std::vector<std::string>& command : {std::vector<std::string>{"queue"},
                                                    {"queue", "add", "/docs/a"},
                                                    {"queue", "next"},
                                                    {"queue", "done", "1"},
                                                    {"queue", "has", "/docs/a"}}) {
        const Outcome outcome = RunTool(command);
        ExpectStatus(outcome, ExitCode::kDatabase);
        EXPECT_THAT(outcome.err, HasSubstr("there is no folder /var/packages/Vellumo/etc"));
    }
    ExpectRefused({"queue"}, ExitCode::kDatabase, "database");
}

TEST_F(QueueTest, TellsThatTheDatabaseIsDamagedAndLeavesIt) {
    const std::string content(5000, 'x');
    WriteFile(kQueue, content);
    ExpectRefused({"queue"}, ExitCode::kDatabase, "database");
    EXPECT_THAT(RunTool({"queue"}).err, HasSubstr("damaged"));
    EXPECT_EQ(ReadFile(kQueue), content);
}

TEST_F(QueueTest, TellsThatTheTableIsMissing) {
    NAVO::VELLUMO::BaseDB database;
    database.path = kQueue;
    ASSERT_TRUE(database.Open());
    ASSERT_TRUE(database.Exec("PRAGMA user_version = 2"));
    for (const std::vector<std::string>& command : {std::vector<std::string>{"queue"},
                                                    {"queue", "add", "/docs/a"},
                                                    {"queue", "next"},
                                                    {"queue", "done", "1"},
                                                    {"queue", "has", "/docs/a"}}) {
        ExpectRefused(command, ExitCode::kDatabase, "database");
    }
}

TEST_F(QueueTest, GivesValidJsonForAPathThatIsNoUtf8) {
    Add({"/docs/\xff\xfe.docx"});
    EXPECT_THAT(Tasks()[0]["path"].asString(), testing::StartsWith("/volume1/docs/"));
}

TEST_F(QueueTest, IsClosedToAnotherAccount) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "skipped: needs real root, to become another user";
    }
    Add({"/docs/a"});
    for (const char* folder : {"/device", "/var/packages/Vellumo", "/var/packages/Vellumo/etc"}) {
        std::filesystem::permissions(folder, std::filesystem::perms(0755));
    }
    const Outcome list = RunningTool({"queue"}, 65534).Wait();
    ExpectStatus(list, ExitCode::kDatabase);
    EXPECT_THAT(list.err, HasSubstr("you may not read"));
}

// As on a file system that is mounted for reading only.
TEST_F(QueueTest, CanBeReadWithoutTheRightToWrite) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "skipped: needs real root, to become another user";
    }
    Add({"/docs/a"});
    for (const char* folder : {"/device", "/var/packages/Vellumo", "/var/packages/Vellumo/etc"}) {
        std::filesystem::permissions(folder, std::filesystem::perms(0755));
    }
    std::filesystem::permissions(kQueue, std::filesystem::perms(0644));
    const Outcome list = RunningTool({"queue"}, 65534).Wait();
    ExpectStatus(list, ExitCode::kDone);
    EXPECT_THAT(list.out, HasSubstr("/volume1/docs/a"));
    const Outcome done = RunningTool({"queue", "done", "1"}, 65534).Wait();
    ExpectStatus(done, ExitCode::kDatabase);
    EXPECT_THAT(done.err, HasSubstr("you may not write"));
}
