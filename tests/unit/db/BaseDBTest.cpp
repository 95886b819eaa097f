// SPDX-License-Identifier: Apache-2.0
#include "vellumo/BaseDB.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "Device.h"
#include "FailingMemory.h"
#include "PlatformDouble.h"
#include "Process.h"
#include "SyslogSink.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

constexpr const char* kFile = "/volume1/docs/test.db";

class Database : public DeviceTest {
protected:
    Database() {
        PlatformDouble::Get().Reset();
        _db.path = kFile;
    }
    ~Database() override { PlatformDouble::Get().Reset(); }

    void OpenWithTable() {
        ASSERT_TRUE(_db.Open());
        ASSERT_TRUE(_db.ExecTransaction("CREATE TABLE t (a TEXT, b INTEGER)"));
        SyslogSink::Get().Clear();
    }
    size_t Rows() {
        std::vector<Row> rows;
        EXPECT_TRUE(_db.QueryResult("SELECT * FROM t", rows));
        return rows.size();
    }
    static std::string Message(const std::string& text) {
        return "include/BaseDB:[0-9]+ \\(" + std::to_string(getpid()) + "\\) " + text;
    }
    BaseDB _db;
};

// Another connection that holds the write lock for as long as it lives.
class WriteLock {
public:
    WriteLock() {
        sqlite3_open(kFile, &_connection);
        EXPECT_EQ(sqlite3_exec(_connection, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr),
                  SQLITE_OK);
    }
    ~WriteLock() { sqlite3_close(_connection); }
    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;

private:
    sqlite3* _connection = nullptr;
};

}  // namespace

TEST_F(Database, ThatWasNeverOpenedFailsEveryStatementAndClosesQuietly) {
    std::vector<Row> rows;
    EXPECT_FALSE(_db.QueryResult("SELECT 1", rows));
    EXPECT_FALSE(_db.ExecTransaction("SELECT 1"));
    EXPECT_FALSE(_db.Exec("VACUUM"));
    const BaseDB neverUsed;
}

TEST_F(Database, CannotBeOpenedInAMissingDirectory) {
    _db.path = "/volume1/missing/test.db";
    EXPECT_FALSE(_db.Open());
    EXPECT_FALSE(_db.ExecTransaction("CREATE TABLE t (a TEXT)"));
}

TEST_F(Database, SyncsItsDirectoryAfterACommitToo) {
    constexpr const char* kExtra = "3";
    OpenWithTable();
    std::vector<Row> rows;
    EXPECT_TRUE(_db.QueryResult("PRAGMA synchronous", rows));
    EXPECT_EQ(rows, (std::vector<Row>{{{"synchronous", kExtra}}}));
}

TEST_F(Database, NullIsTheTextNull) {
    OpenWithTable();
    std::vector<Row> rows;
    EXPECT_TRUE(_db.QueryResult("SELECT NULL AS n, 'x' AS t, 7 AS i", rows));
    EXPECT_EQ(rows, (std::vector<Row>{{{"n", "NULL"}, {"t", "x"}, {"i", "7"}}}));
}

TEST_F(Database, LaterColumnOfTheSameNameCounts) {
    OpenWithTable();
    std::vector<Row> rows;
    EXPECT_TRUE(_db.QueryResult("SELECT 1 AS a, 2 AS a", rows));
    EXPECT_EQ(rows, (std::vector<Row>{{{"a", "2"}}}));
}

TEST_F(Database, QueryAppendsAndANoMatchAppendsNothing) {
    OpenWithTable();
    std::vector<Row> rows{{{"old", "row"}}};
    EXPECT_TRUE(_db.QueryResult("SELECT * FROM t", rows));
    EXPECT_EQ(rows.size(), 1U);
    _db.ExecTransaction("INSERT INTO t VALUES ('x', 1)");
    EXPECT_TRUE(_db.QueryResult("SELECT * FROM t", rows));
    EXPECT_EQ(rows.size(), 2U);
}

TEST_F(Database, QueryThatFailsIsLogged) {
    OpenWithTable();
    std::vector<Row> rows;
    errno = 0;
    EXPECT_FALSE(_db.QueryResult("SELECT * FROM missing", rows));
    EXPECT_THAT(
        SyslogSink::Get().Texts(),
        ElementsAre(MatchesRegex(Message("error: no such table: missing( \\[err: .*\\])?"))));
}

TEST_F(Database, QueryThatFailsHalfWayKeepsTheRowsItHad) {
    OpenWithTable();
    std::vector<Row> rows;
    EXPECT_FALSE(_db.QueryResult("SELECT 1 AS a; SELECT * FROM missing", rows));
    EXPECT_EQ(rows.size(), 1U);
}

// SQLite is C code: an exception that passed through it would leave it in any state.
TEST_F(Database, RowThatFindsNoMemoryFailsItsQueryAndNotTheProgram) {
    OpenWithTable();
    std::vector<Row> rows;
    {
        const FailingAllocation large(0, 1000000);
        EXPECT_FALSE(_db.QueryResult("SELECT printf('%2000000s', 'x') AS a", rows));
        EXPECT_TRUE(FailingAllocation::HasFailed());
    }
    EXPECT_THAT(rows, IsEmpty());
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(Message("error: query aborted( \\[err: .*\\])?"))));
    EXPECT_TRUE(_db.ExecTransaction("INSERT INTO t VALUES ('x', 1)"));
    EXPECT_EQ(Rows(), 1U);
}

TEST_F(Database, CannotBeOpenedByAnotherAccountAndSoNotBeLocked) {
    const mode_t before = umask(0);
    OpenWithTable();
    umask(before);
    const auto error = AsOther([] { return open(kFile, O_RDONLY) >= 0 ? 0 : errno; });
    if (!error) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    EXPECT_EQ(*error, EACCES);
}

TEST_F(Database, OfAnEarlierVersionIsClosedToOtherAccounts) {
    WriteFile(kFile, "");
    ASSERT_EQ(chmod(kFile, 0644), 0);
    OpenWithTable();
    struct stat status {};
    ASSERT_EQ(stat(kFile, &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(Database, InMemoryLeavesNoFile) {
    _db.path = ":memory:";
    ASSERT_TRUE(_db.Open());
    EXPECT_FALSE(Exists(":memory:"));
}

TEST_F(Database, TransactionIsAllOrNothing) {
    OpenWithTable();
    EXPECT_FALSE(
        _db.ExecTransaction("INSERT INTO t VALUES ('x', 1); INSERT INTO missing VALUES (1)"));
    EXPECT_EQ(Rows(), 0U);
    EXPECT_TRUE(
        _db.ExecTransaction("INSERT INTO t VALUES ('x', 1); INSERT INTO t VALUES ('y', 2)"));
    EXPECT_EQ(Rows(), 2U);
}

TEST_F(Database, FailedTransactionLogsHowItsRollBackWent) {
    OpenWithTable();
    errno = 0;
    EXPECT_FALSE(_db.ExecTransaction("INSERT INTO missing VALUES (1)"));
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(Message("error: not an error( \\[err: .*\\])?"))));
}

TEST_F(Database, MessageCarriesErrno) {
    OpenWithTable();
    std::vector<Row> rows;
    errno = EACCES;
    EXPECT_FALSE(_db.QueryResult("SELEKT", rows));
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(Message("error: .*\\[err: .*\\]"))));
    EXPECT_EQ(errno, 0);
}

TEST_F(Database, ReadOnlyDatabaseFailsAtOnceWithoutSleeping) {
    OpenWithTable();
    BaseDB readOnly;
    ASSERT_EQ(sqlite3_open_v2(kFile, &readOnly.db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    EXPECT_FALSE(readOnly.ExecTransaction("INSERT INTO t VALUES ('x', 1)"));
    EXPECT_THAT(PlatformDouble::Get().CallsOf("nanosleep"), IsEmpty());
    EXPECT_EQ(Rows(), 0U);
}

TEST_F(Database, LockedDatabaseIsTriedAHundredTimesHalfASecondApart) {
    OpenWithTable();
    sqlite3_busy_timeout(_db.db, 0);
    const WriteLock other;
    PlatformDouble::Get().Always("nanosleep", 0);
    errno = 0;
    EXPECT_FALSE(_db.ExecTransaction("INSERT INTO t VALUES ('x', 1)"));
    const auto sleeps = PlatformDouble::Get().CallsOf("nanosleep");
    EXPECT_THAT(sleeps.size(), testing::AllOf(testing::Ge(99U), testing::Le(100U)));
    EXPECT_THAT(sleeps.at(0).arguments, ElementsAre("0", "500000000"));
    EXPECT_THAT(
        SyslogSink::Get().Texts(),
        ElementsAre(MatchesRegex(Message("error: cannot rollback - no transaction is active.*"))));
}

TEST_F(Database, AfterTheLastTryTheStatementsRunWithoutATransaction) {
    OpenWithTable();
    sqlite3_busy_timeout(_db.db, 0);
    auto other = std::make_unique<WriteLock>();
    int sleeps = 0;
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation != "nanosleep") {
            return std::nullopt;
        }
        if (++sleeps == 100) {
            other.reset();  // free again, but too late for a transaction
        }
        return 0;
    });
    EXPECT_FALSE(_db.ExecTransaction("INSERT INTO t VALUES ('x', 1)"));
    EXPECT_EQ(sleeps, 100);
    EXPECT_EQ(Rows(), 1U) << "the change was made all the same";
}

TEST_F(Database, LockThatIsGivenBackLetsTheTransactionIn) {
    OpenWithTable();
    sqlite3_busy_timeout(_db.db, 0);
    auto other = std::make_unique<WriteLock>();
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation == "nanosleep") {
            other.reset();
        }
        return call.operation == "nanosleep" ? std::optional(0) : std::nullopt;
    });
    EXPECT_TRUE(_db.ExecTransaction("INSERT INTO t VALUES ('x', 1)"));
    EXPECT_EQ(PlatformDouble::Get().CallsOf("nanosleep").size(), 1U);
    EXPECT_EQ(Rows(), 1U);
}

TEST_F(Database, StatementsWaitASecondForALock) {
    OpenWithTable();
    const WriteLock other;
    std::vector<Row> rows;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(_db.QueryResult("SELECT * FROM t", rows));
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(900));
    EXPECT_LT(waited, std::chrono::seconds(10));
}

TEST_F(Database, QuotesAreDoubled) {
    EXPECT_EQ(BaseDB::EscapeString("it's", true), "'it''s'");
    EXPECT_EQ(BaseDB::EscapeString("it's", false), "it''s");
    EXPECT_EQ(BaseDB::EscapeString("", true), "''");
}

TEST_F(Database, EscapedTextIsReadBackAsItWas) {
    OpenWithTable();
    for (const std::string text : {"'; DROP TABLE t; --", "\"a\"", "%s%q", "\xff\xfe", "a\nb"}) {
        ASSERT_TRUE(_db.ExecTransaction("DELETE FROM t; INSERT INTO t(a) VALUES (" +
                                        BaseDB::EscapeString(text, true) + ")"));
        std::vector<Row> rows;
        ASSERT_TRUE(_db.QueryResult("SELECT a FROM t", rows));
        EXPECT_EQ(rows.at(0)["a"], text);
    }
}
