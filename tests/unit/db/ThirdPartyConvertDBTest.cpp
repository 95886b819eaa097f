// SPDX-License-Identifier: Apache-2.0
#include "vellumo/ThirdPartyConvertDB.h"

#include <filesystem>
#include <limits>

#include "DatabaseTest.h"
#include "SyslogSink.h"
#include "vellumo/Constants.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

constexpr const char* kSource = "ThirdPartyConvertDB";

class Records : public DatabaseTest {
protected:
    Records() : DatabaseTest(SZF_THIRD_PARTY_DB_PATH) {}

    void Open() {
        ASSERT_TRUE(_records.OpenDB());
        SyslogSink::Get().Clear();
        errno = 0;
    }
    static ThirdPartyConvertDB::Task Record(const std::string& taskId) {
        return {0, 1026, "", taskId, "/volume1/a.doc", "/volume1/a.pdf"};
    }
    std::string Count() const { return Query("SELECT COUNT(*) AS n FROM tasks").at(0)["n"]; }

    ThirdPartyConvertDB _records;
};

}  // namespace

TEST_F(Records, AreClosedAtFirst) {
    EXPECT_FALSE(_records.opened);
    ThirdPartyConvertDB::Task task = Record("kept");
    EXPECT_FALSE(_records.Create(task));
    EXPECT_FALSE(_records.Update(task));
    EXPECT_FALSE(_records.Delete(task));
    EXPECT_FALSE(_records.GetByTaskId("t", task));
    EXPECT_EQ(task.task_id, "kept");
    EXPECT_FALSE(Exists(SZF_THIRD_PARTY_DB_PATH));
}

TEST_F(Records, TableIsTheDocumentedOne) {
    EXPECT_TRUE(_records.OpenDB());
    EXPECT_TRUE(_records.opened);
    EXPECT_EQ(Query("SELECT sql FROM sqlite_master"),
              (Rows{{{"sql",
                      "CREATE TABLE tasks (id INTEGER PRIMARY KEY,task_id TEXT,uid INTEGER,"
                      "orig_path TEXT,conv_path TEXT,error_code INTEGER)"}}}));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Records, ExistingTableIsKept) {
    Change(
        "CREATE TABLE tasks (id INTEGER PRIMARY KEY, conv_path TEXT, orig_path TEXT, uid INTEGER, "
        "task_id TEXT, error_code INTEGER, more TEXT);"
        "INSERT INTO tasks VALUES (7,'/c','/o',8,'t',9,'x')");
    Open();
    EXPECT_TRUE(_records.OpenDB()) << "once more";
    ThirdPartyConvertDB::Task task;
    ASSERT_TRUE(_records.GetByTaskId("t", task));
    EXPECT_EQ(task.id, "7");
    EXPECT_EQ(task.uid, 8U);
    EXPECT_EQ(task.error_code, 9);
    EXPECT_EQ(task.orig_path, "/o");
    EXPECT_EQ(task.conv_path, "/c");
}

TEST_F(Records, DirectoryThatIsMissingIsTold) {
    std::filesystem::remove_all("/var/packages/Vellumo/etc");
    EXPECT_FALSE(_records.OpenDB());
    EXPECT_FALSE(_records.opened);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(AfterSqlite(kSource, "open db failed"))));
}

TEST_F(Records, FileThatIsNoDatabaseIsToldAndLeftAsItIs) {
    const std::string content(5000, 'x');
    WriteFile(SZF_THIRD_PARTY_DB_PATH, content);
    EXPECT_FALSE(_records.OpenDB());
    EXPECT_FALSE(_records.opened);
    EXPECT_THAT(
        SyslogSink::Get().Texts(),
        ElementsAre(MatchesRegex(AfterSqlite("include/BaseDB",
                                             "error: cannot rollback - no transaction is active")),
                    MatchesRegex(Exactly(kSource, "create db failed"))));
    EXPECT_EQ(ReadFile(SZF_THIRD_PARTY_DB_PATH), content);
}

TEST_F(Records, CreatedRecordIsReadBackWithAnIdOfItsOwn) {
    Open();
    constexpr auto kLeast = std::numeric_limits<int32_t>::min();
    constexpr auto kMost = std::numeric_limits<uint32_t>::max();
    ASSERT_TRUE(_records.Create({kLeast, kMost, "77", "t-17", "/volume1/a", "/volume1/b"}));
    ThirdPartyConvertDB::Task task;
    ASSERT_TRUE(_records.GetByTaskId("t-17", task));
    EXPECT_EQ(task.id, "1");
    EXPECT_EQ(task.task_id, "t-17");
    EXPECT_EQ(task.uid, kMost);
    EXPECT_EQ(task.error_code, kLeast);
    EXPECT_EQ(task.orig_path, "/volume1/a");
    EXPECT_EQ(task.conv_path, "/volume1/b");
}

TEST_F(Records, StatementsAreTheDocumentedOnes) {
    BeginTrace();
    Open();
    Trace();
    _records.Create(Record("t-17"));
    EXPECT_THAT(Trace(), ElementsAre("BEGIN IMMEDIATE;",
                                     "INSERT INTO tasks (task_id,uid,orig_path,conv_path,"
                                     "error_code)VALUES('t-17',1026,'/volume1/a.doc',"
                                     "'/volume1/a.pdf',0)",
                                     "COMMIT"));
    _records.Update({-3, 4294967295U, "1", "it's", "/o", "/c"});
    EXPECT_THAT(Trace(), ElementsAre("BEGIN IMMEDIATE;",
                                     "UPDATE tasks SET task_id = 'it''s',orig_path = '/o',"
                                     "conv_path = '/c',error_code = -3,uid = 4294967295 "
                                     "WHERE id = '1'",
                                     "COMMIT"));
    ThirdPartyConvertDB::Task task;
    _records.GetByTaskId("it's", task);
    EXPECT_THAT(Trace(), ElementsAre("SELECT * FROM tasks WHERE task_id = 'it''s'"));
    _records.DeleteByTaskId("it's");
    EXPECT_THAT(Trace(), ElementsAre("BEGIN IMMEDIATE;",
                                     "DELETE FROM tasks WHERE task_id = 'it''s'", "COMMIT"));
    _records.Delete(Record("t"));
    EXPECT_THAT(Trace(),
                ElementsAre("BEGIN IMMEDIATE;", "DELETE FROM tasks WHERE task_id = 't'", "COMMIT"));
}

TEST_F(Records, TwoOfOneTaskIdCannotBeReadAndGoTogether) {
    Open();
    EXPECT_TRUE(_records.Create(Record("t")));
    EXPECT_TRUE(_records.Create(Record("t")));
    EXPECT_TRUE(_records.Create(Record("other")));
    ThirdPartyConvertDB::Task task = Record("kept");
    EXPECT_FALSE(_records.GetByTaskId("t", task));
    EXPECT_EQ(task.task_id, "kept");
    EXPECT_TRUE(_records.DeleteByTaskId("t"));
    EXPECT_EQ(Count(), "1");
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Records, NoRecordIsNotAMessage) {
    Open();
    ThirdPartyConvertDB::Task task = Record("kept");
    EXPECT_FALSE(_records.GetByTaskId("t", task));
    EXPECT_EQ(task.task_id, "kept");
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Records, UpdateGoesByIdAndRewritesTheRest) {
    Open();
    _records.Create(Record("a"));
    _records.Create(Record("b"));
    EXPECT_TRUE(_records.Update({5, 6, "2", "c", "/o", "/p"}));
    EXPECT_EQ(Query("SELECT * FROM tasks WHERE id = 2"), (Rows{{{"id", "2"},
                                                                {"task_id", "c"},
                                                                {"uid", "6"},
                                                                {"orig_path", "/o"},
                                                                {"conv_path", "/p"},
                                                                {"error_code", "5"}}}));
    ThirdPartyConvertDB::Task task;
    EXPECT_TRUE(_records.GetByTaskId("a", task)) << "the other record stays";
}

TEST_F(Records, UpdateOfNoRecordSucceedsAndChangesNothing) {
    Open();
    _records.Create(Record("a"));
    const Rows before = Query("SELECT * FROM tasks");
    for (const char* id : {"99", "", "a", "1 OR 1=1", "1'; DELETE FROM tasks; --"}) {
        EXPECT_TRUE(_records.Update({5, 6, id, "c", "/o", "/p"})) << id;
    }
    EXPECT_EQ(Query("SELECT * FROM tasks"), before);
}

TEST_F(Records, DeleteGoesByTaskIdAndIgnoresTheId) {
    Open();
    _records.Create(Record("a"));
    _records.Create(Record("b"));
    EXPECT_TRUE(_records.Delete({0, 0, "1", "b", "", ""}));
    EXPECT_EQ(Query("SELECT task_id FROM tasks"), (Rows{{{"task_id", "a"}}}));
    EXPECT_TRUE(_records.DeleteByTaskId("none"));
    EXPECT_EQ(Count(), "1");
}

TEST_F(Records, DifficultTextsAreStoredAndFoundInEveryField) {
    Open();
    for (const std::string& text : DifficultTexts()) {
        ASSERT_TRUE(_records.Create({1, 2, "", text, text, text})) << text;
        ThirdPartyConvertDB::Task task;
        ASSERT_TRUE(_records.GetByTaskId(text, task)) << text;
        EXPECT_EQ(task.task_id, text);
        EXPECT_EQ(task.orig_path, text);
        EXPECT_EQ(task.conv_path, text);
        task.conv_path += "2";
        ASSERT_TRUE(_records.Update(task));
        ASSERT_TRUE(_records.GetByTaskId(text, task)) << text;
        EXPECT_EQ(task.conv_path, text + "2");
    }
    EXPECT_EQ(Count(), std::to_string(DifficultTexts().size()));
    for (const std::string& text : DifficultTexts()) {
        EXPECT_TRUE(_records.DeleteByTaskId(text)) << text;
    }
    EXPECT_EQ(Count(), "0");
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Records, NullColumnsReadAsTheirTextAndZero) {
    Open();
    Change("INSERT INTO tasks (task_id) VALUES ('t')");
    ThirdPartyConvertDB::Task task = Record("other");
    ASSERT_TRUE(_records.GetByTaskId("t", task));
    EXPECT_EQ(task.orig_path, "NULL");
    EXPECT_EQ(task.conv_path, "NULL");
    EXPECT_EQ(task.uid, 0U);
    EXPECT_EQ(task.error_code, 0);
}

TEST_F(Records, FailedStatementsAreLoggedByTheBaseAlone) {
    Open();
    Change("DROP TABLE tasks");
    ThirdPartyConvertDB::Task task = Record("kept");
    EXPECT_FALSE(_records.GetByTaskId("t", task));
    EXPECT_FALSE(_records.Create(task));
    EXPECT_EQ(task.task_id, "kept");
    EXPECT_THAT(
        SyslogSink::Get().Texts(),
        ElementsAre(MatchesRegex(AfterSqlite("include/BaseDB", "error: no such table: tasks")),
                    MatchesRegex(AfterSqlite("include/BaseDB", "error: not an error"))));
}
