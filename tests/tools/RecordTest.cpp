// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <filesystem>

#include "StateFile.h"
#include "Tool.h"
#include "vellumo/BaseDB.h"

using namespace vellumo::test;
using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

constexpr const char* kRecords = "/var/packages/Vellumo/etc/third_party_convert.db";

class RecordTest : public ToolTest {
protected:
    RecordTest() { std::filesystem::remove(kRecords); }

    static Json::Value Create(const std::string& taskId) {
        return RunForJson({"record", "create", taskId, "--source", "/docs/a.doc", "--uid", "1026"});
    }
    static Json::Value Show(const std::string& taskId) {
        return RunForJson({"record", "show", taskId})["record"];
    }
    static void Change(const std::string& statement) {
        NAVO::VELLUMO::BaseDB database;
        database.path = kRecords;
        ASSERT_TRUE(database.Open());
        ASSERT_TRUE(database.Exec(statement));
    }
    static void ExpectRefused(const std::vector<std::string>& command, ExitCode code,
                              const std::string& kind) {
        const Json::Value json = RunForJson(command);
        EXPECT_EQ(json["exitCode"], static_cast<int>(code));
        EXPECT_EQ(json["error"]["kind"], kind);
    }
};

}  // namespace

TEST_F(RecordTest, RecordsAConversionByRealPaths) {
    const Json::Value json =
        RunForJson({"record", "create", "t-17", "--source", "/home/it's.doc", "--converted",
                    "/docs/a.pdf", "--uid", "4294967295", "--code", "-5", "--user", "root"});
    EXPECT_EQ(json["action"], "create");
    const Json::Value record = Parsed(R"({"id":"1","taskId":"t-17","uid":4294967295,
        "source":"/volume1/homes/root/it's.doc","converted":"/volume1/docs/a.pdf","code":-5})");
    EXPECT_EQ(json["record"], record);
    EXPECT_EQ(Show("t-17"), record);
}

TEST_F(RecordTest, HasAUserAndAnOutcomeByDefault) {
    const Json::Value record =
        RunForJson({"record", "create", "t", "--source", "/docs/a"})["record"];
    EXPECT_EQ(record["uid"].asUInt(), getuid());
    EXPECT_EQ(record["code"], 0);
    EXPECT_EQ(record["converted"], "");
}

TEST_F(RecordTest, ShowsARecordToPeople) {
    Create("t\n1");
    const Outcome outcome = RunTool({"record", "show", "t\n1"});
    ExpectStatus(outcome, ExitCode::kDone);
    for (const char* line : {"task: +t\\\\x0a1\n", "uid: +1026\n", "source: +/volume1/docs/a.doc\n",
                             "converted: +none\n", "code: +0\n"}) {
        EXPECT_THAT(outcome.out, ContainsRegex(line));
    }
}

TEST_F(RecordTest, NeedsASource) {
    ExpectRefused({"record", "create", "t"}, ExitCode::kUsage, "usage");
    ExpectRefused({"record", "create", "", "--source", "/docs/a"}, ExitCode::kUsage, "usage");
    ExpectRefused({"record"}, ExitCode::kUsage, "usage");
}

TEST_F(RecordTest, RefusesASecondRecordOfAnIdentifier) {
    Create("t");
    const Outcome outcome = RunTool({"record", "create", "t", "--source", "/docs/b"});
    ExpectStatus(outcome, ExitCode::kFailed);
    EXPECT_THAT(outcome.err, HasSubstr("already"));
    EXPECT_EQ(Show("t")["source"], "/volume1/docs/a.doc");
}

TEST_F(RecordTest, ChangesWhatIsNamedAndKeepsTheRest) {
    Create("t");
    Create("other");
    const Json::Value json =
        RunForJson({"record", "update", "t", "--converted", "/docs/a.pdf", "--code", "7"});
    EXPECT_EQ(json["record"], Parsed(R"({"id":"1","taskId":"t","uid":1026,
        "source":"/volume1/docs/a.doc","converted":"/volume1/docs/a.pdf","code":7})"));
    EXPECT_EQ(Show("t"), json["record"]);
    EXPECT_EQ(Show("other")["code"], 0);
}

TEST_F(RecordTest, NeedsSomethingToChange) {
    Create("t");
    ExpectRefused({"record", "update", "t"}, ExitCode::kUsage, "usage");
}

TEST_F(RecordTest, TellsThatThereIsNoRecord) {
    ExpectRefused({"record", "show", "t"}, ExitCode::kNotFound, "not-found");
    ExpectRefused({"record", "update", "t", "--code", "1"}, ExitCode::kNotFound, "not-found");
    ExpectRefused({"record", "show", "' OR '1'='1"}, ExitCode::kNotFound, "not-found");
}

TEST_F(RecordTest, TellsThatThereIsMoreThanOneRecord) {
    Create("t");
    Change("INSERT INTO tasks (task_id) VALUES ('t')");
    const Outcome outcome = RunTool({"record", "show", "t"});
    ExpectStatus(outcome, ExitCode::kFailed);
    EXPECT_THAT(outcome.err, HasSubstr("2 records"));
    ExpectRefused({"record", "update", "t", "--code", "1"}, ExitCode::kFailed, "failed");
}

TEST_F(RecordTest, DeletesAllRecordsOfIdentifiers) {
    Create("a");
    Create("b");
    Change("INSERT INTO tasks (task_id) VALUES ('a')");
    EXPECT_EQ(RunForJson({"record", "delete", "a", "none"})["deleted"], Parsed(R"(["a","none"])"));
    ExpectRefused({"record", "show", "a"}, ExitCode::kNotFound, "not-found");
    EXPECT_EQ(Show("b")["taskId"], "b");
}

TEST_F(RecordTest, TakesIdentifiersAsText) {
    for (const char* taskId : {"it's", "'; DROP TABLE tasks; --", "100%_", "Größe", "-"}) {
        EXPECT_EQ(Create(taskId)["record"]["taskId"], taskId);
        EXPECT_EQ(Show(taskId)["taskId"], taskId);
    }
}

TEST_F(RecordTest, RefusesWrongPathsAndNumbersAndRecordsNothing) {
    ExpectRefused({"record", "create", "t", "--source", "/nope/a"}, ExitCode::kBadInput,
                  "bad-input");
    ExpectRefused({"record", "create", "t", "--source", "/docs/a", "--converted", "b"},
                  ExitCode::kBadInput, "bad-input");
    ExpectRefused({"record", "create", "t", "--source", "/docs/a", "--uid", "-1"}, ExitCode::kUsage,
                  "usage");
    ExpectRefused({"record", "create", "t", "--source", "/docs/a", "--code", ""}, ExitCode::kUsage,
                  "usage");
    ExpectRefused({"record", "show", "t"}, ExitCode::kNotFound, "not-found");
}

TEST_F(RecordTest, TellsThatTheDatabaseCannotBeUsed) {
    const std::string content(5000, 'x');
    WriteFile(kRecords, content);
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"record", "show", "t"},
          {"record", "create", "t", "--source", "/docs/a"},
          {"record", "update", "t", "--code", "1"},
          {"record", "delete", "t"}}) {
        ExpectRefused(command, ExitCode::kDatabase, "database");
    }
    EXPECT_EQ(ReadFile(kRecords), content);
    std::filesystem::remove_all("/var/packages/Vellumo/etc");
    ExpectRefused({"record", "show", "t"}, ExitCode::kDatabase, "database");
}

TEST_F(RecordTest, TellsThatTheTableIsOfAnotherForm) {
    Change("CREATE TABLE tasks (id INTEGER PRIMARY KEY)");
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"record", "show", "t"},
          {"record", "create", "t", "--source", "/docs/a"},
          {"record", "update", "t", "--code", "1"},
          {"record", "delete", "t"}}) {
        ExpectRefused(command, ExitCode::kDatabase, "database");
    }
}
