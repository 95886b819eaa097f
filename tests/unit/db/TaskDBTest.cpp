// SPDX-License-Identifier: Apache-2.0
#include "vellumo/TaskDB.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <limits>
#include <memory>
#include <stdexcept>

#include "DatabaseTest.h"
#include "PlatformDouble.h"
#include "SyslogSink.h"
#include "vellumo/Constants.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

namespace {

constexpr const char* kLockFile = "/var/packages/Vellumo/etc/thumb.db.lock";

constexpr const char* kFirstVersion =
    "CREATE TABLE IF NOT EXISTS tasks ( id                  INTEGER    PRIMARY KEY ASC "
    "AUTOINCREMENT,is_folder           INTEGER,path                TEXT,op                  "
    "INTEGER);CREATE UNIQUE INDEX IF NOT EXISTS path_op ON tasks (path,op);"
    "CREATE INDEX IF NOT EXISTS path ON tasks (path);PRAGMA user_version = 1;";

TaskDB::Task TaskOn(const std::string& path, int32_t op = 0, int32_t type = 0,
                    bool isFolder = false) {
    return {op, isFolder, "", path, type};
}

class Queue : public DatabaseTest {
protected:
    Queue() : DatabaseTest(SZF_THUMB_DB_PATH) {}

    void Open() {
        ASSERT_TRUE(_queue.OpenDB());
        SyslogSink::Get().Clear();
        errno = 0;
    }
    std::string Version() const { return Query("PRAGMA user_version").at(0)["user_version"]; }
    std::vector<std::string> Paths() {
        std::vector<TaskDB::Task> tasks;
        EXPECT_TRUE(_queue.GetTasks(tasks, 0));
        std::vector<std::string> paths;
        for (const TaskDB::Task& task : tasks) {
            paths.push_back(task.path);
        }
        return paths;
    }
    void Append(const std::string& path, int32_t op = 0, int32_t type = 0) {
        EXPECT_TRUE(_queue.AppendTask(TaskOn(path, op, type))) << path;
    }
    static void ExpectLogged(const std::vector<std::string>& patterns) {
        std::vector<testing::Matcher<std::string>> matchers;
        for (const std::string& pattern : patterns) {
            matchers.emplace_back(MatchesRegex(pattern));
        }
        EXPECT_THAT(SyslogSink::Get().Texts(), testing::ElementsAreArray(matchers));
    }

    TaskDB _queue;
};

size_t OpenDescriptors() {
    using Entries = std::filesystem::directory_iterator;
    return static_cast<size_t>(std::distance(Entries("/proc/self/fd"), Entries()));
}

// Holds the turn to migrate for as long as it lives.
class Turn {
public:
    Turn() : _file(open(kLockFile, O_RDONLY | O_CREAT | O_CLOEXEC, 0644)) {
        EXPECT_EQ(flock(_file, LOCK_EX | LOCK_NB), 0);
    }
    ~Turn() { close(_file); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    int _file;
};

}  // namespace

TEST_F(Queue, IsClosedAtFirst) {
    EXPECT_FALSE(_queue.opened);
    std::vector<TaskDB::Task> tasks{TaskOn("/kept")};
    EXPECT_FALSE(_queue.GetTasks(tasks, 0));
    EXPECT_THAT(tasks, SizeIs(1));
    EXPECT_FALSE(_queue.AppendTask(TaskOn("/a")));
    EXPECT_FALSE(_queue.IsConvertingPath("/a"));
    EXPECT_FALSE(_queue.DoMigration());
    EXPECT_FALSE(Exists(SZF_THUMB_DB_PATH));
}

TEST_F(Queue, NewDatabaseEndsAtTheNewestVersion) {
    EXPECT_TRUE(_queue.OpenDB());
    EXPECT_TRUE(_queue.opened);
    EXPECT_EQ(Version(), "2");
    Rows columns = Query("PRAGMA table_info(tasks)");
    std::vector<std::string> described;
    for (Row& column : columns) {
        described.push_back(column["name"] + " " + column["type"] + " " + column["pk"]);
    }
    EXPECT_THAT(described, ElementsAre("id INTEGER 1", "is_folder INTEGER 0", "path TEXT 0",
                                       "op INTEGER 0", "convert_type INTEGER 0"));
    EXPECT_EQ(Query("SELECT name, sql FROM sqlite_master WHERE type = 'index' ORDER BY name"),
              (Rows{{{"name", "path"}, {"sql", "CREATE INDEX path ON tasks (path)"}},
                    {{"name", "path_op"},
                     {"sql", "CREATE UNIQUE INDEX path_op ON tasks (path,op,convert_type)"}}}));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Queue, CannotBeLockedByAnotherAccount) {
    const mode_t before = umask(0);
    EXPECT_TRUE(_queue.OpenDB());
    umask(before);
    for (const char* file : {SZF_THUMB_DB_PATH, kLockFile}) {
        struct stat status {};
        ASSERT_EQ(stat(file, &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0600U) << file;
    }
}

TEST_F(Queue, EmptyFileIsANewDatabase) {
    WriteFile(SZF_THUMB_DB_PATH, "");
    EXPECT_TRUE(_queue.OpenDB());
    EXPECT_EQ(Version(), "2");
}

TEST_F(Queue, MigrationRunsTheStepsInOrderEachInATransactionOfItsOwn) {
    BeginTrace();
    ASSERT_TRUE(_queue.OpenDB());
    EXPECT_THAT(
        Trace(),
        ElementsAre(
            "PRAGMA user_version", "PRAGMA user_version", "BEGIN IMMEDIATE;",
            "CREATE TABLE IF NOT EXISTS tasks ( id                  INTEGER    PRIMARY KEY ASC "
            "AUTOINCREMENT,is_folder           INTEGER,path                TEXT,op              "
            "    INTEGER);",
            "CREATE UNIQUE INDEX IF NOT EXISTS path_op ON tasks (path,op);",
            "CREATE INDEX IF NOT EXISTS path ON tasks (path);", "PRAGMA user_version = 1;",
            "COMMIT", "BEGIN IMMEDIATE;", "ALTER TABLE tasks ADD COLUMN convert_type INTEGER;",
            "DROP INDEX path_op;",
            "CREATE UNIQUE INDEX IF NOT EXISTS path_op ON tasks (path,op,convert_type);",
            "PRAGMA user_version = 2;", "COMMIT"));
}

TEST_F(Queue, RowsOfTheFirstVersionAreKeptWithoutAConvertType) {
    Change(std::string(kFirstVersion) +
           "INSERT INTO tasks (is_folder,path,op) VALUES (1,'/volume1/a',3),(0,'/volume1/b',4)");
    ASSERT_TRUE(_queue.OpenDB());
    EXPECT_EQ(Version(), "2");
    EXPECT_EQ(Query("SELECT COUNT(*) AS n FROM tasks WHERE convert_type IS NULL"),
              (Rows{{{"n", "2"}}}));
    std::vector<TaskDB::Task> tasks;
    ASSERT_TRUE(_queue.GetTasks(tasks, 0));
    ASSERT_THAT(tasks, SizeIs(2));
    EXPECT_EQ(tasks[0].path, "/volume1/a");
    EXPECT_EQ(tasks[0].op, 3);
    EXPECT_TRUE(tasks[0].is_folder);
    EXPECT_EQ(tasks[0].convert_type, 0);
    EXPECT_EQ(tasks[1].path, "/volume1/b");
}

TEST_F(Queue, LaterVersionIsLeftAlone) {
    Change("CREATE TABLE future (a TEXT); PRAGMA user_version = 3");
    BeginTrace();
    EXPECT_TRUE(_queue.OpenDB());
    EXPECT_THAT(Trace(), ElementsAre("PRAGMA user_version"));
    EXPECT_EQ(Query("SELECT name FROM sqlite_master"), (Rows{{{"name", "future"}}}));
    EXPECT_EQ(Version(), "3");
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Queue, NewestVersionNeedsNoTurn) {
    Open();
    unlink(kLockFile);
    TaskDB other;
    EXPECT_TRUE(other.OpenDB());
    EXPECT_FALSE(Exists(kLockFile));
}

TEST_F(Queue, NegativeVersionIsMigratedFromTheFirstStep) {
    Change("PRAGMA user_version = -2147483648");
    EXPECT_TRUE(_queue.OpenDB());
    EXPECT_EQ(Version(), "2");
}

TEST_F(Queue, OpeningAgainKeepsTheConnectionAndMigratesOnly) {
    Open();
    Change("DROP TABLE tasks; PRAGMA user_version = 0");
    const size_t before = OpenDescriptors();
    EXPECT_TRUE(_queue.OpenDB());
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(Version(), "2");
}

TEST_F(Queue, DirectoryThatIsMissingIsToldAndTheHandleKept) {
    std::filesystem::remove_all("/var/packages/Vellumo/etc");
    EXPECT_FALSE(_queue.OpenDB());
    EXPECT_FALSE(_queue.opened);
    ExpectLogged({AfterSqlite("TaskDB", "open db failed")});

    MakeDirectory("/var/packages/Vellumo/etc");
    errno = 0;
    EXPECT_FALSE(_queue.OpenDB()) << "the handle of the failed open stays";
    ExpectLogged({AfterSqlite("include/BaseDB", "error: unable to open database file"),
                  Exactly("TaskDB", "Failed [!_db.QueryResult(\"PRAGMA user_version\", result)]"),
                  Exactly("TaskDB", "migration failed")});
    EXPECT_TRUE(TaskDB().OpenDB());
}

TEST_F(Queue, FileThatIsNoDatabaseIsToldAndLeftAsItIs) {
    const std::string content(5000, 'x');
    WriteFile(SZF_THUMB_DB_PATH, content);
    EXPECT_FALSE(_queue.OpenDB());
    EXPECT_FALSE(_queue.opened);
    ExpectLogged({AfterSqlite("include/BaseDB", "error: file is not a database"),
                  Exactly("TaskDB", "Failed [!_db.QueryResult(\"PRAGMA user_version\", result)]"),
                  Exactly("TaskDB", "migration failed")});
    EXPECT_EQ(ReadFile(SZF_THUMB_DB_PATH), content);
}

TEST_F(Queue, VersionThatIsNotOneRowIsTold) {
    AnswerNextQuery({});
    EXPECT_FALSE(_queue.OpenDB());
    ExpectLogged({AfterSqlite("TaskDB", "result size: 0 is not correct"),
                  Exactly("TaskDB", "migration failed")});
    AnswerNextQuery({{{"user_version", "2"}}, {{"user_version", "2"}}});
    EXPECT_FALSE(_queue.DoMigration());
    ExpectLogged({AfterSqlite("TaskDB", "result size: 2 is not correct")});
}

// SQLite keeps user_version as a number, so that this takes another answer than SQLite's.
TEST_F(Queue, VersionThatIsNoNumberThrowsAndLeavesTheDatabaseAlone) {
    AnswerNextQuery({{{"user_version", "two"}}});
    EXPECT_THROW(_queue.OpenDB(), std::invalid_argument);
    EXPECT_FALSE(_queue.opened);
    EXPECT_EQ(Version(), "0");
    EXPECT_TRUE(_queue.OpenDB());
}

TEST_F(Queue, FailedFirstStepIsTold) {
    Change("CREATE VIEW tasks AS SELECT 1 AS path");
    EXPECT_FALSE(_queue.OpenDB());
    EXPECT_FALSE(_queue.opened);
    ExpectLogged({AfterSqlite("include/BaseDB", "error: not an error"),
                  Exactly("TaskDB", "database migration from 0 to 1 failed"),
                  Exactly("TaskDB", "migration failed")});
    EXPECT_EQ(Version(), "0");
}

TEST_F(Queue, StepsBeforeTheFailedOneStay) {
    Change("CREATE TABLE tasks (path TEXT, op INTEGER, convert_type INTEGER)");
    EXPECT_FALSE(_queue.OpenDB());
    ExpectLogged({AfterSqlite("include/BaseDB", "error: not an error"),
                  Exactly("TaskDB", "database migration from 1 to 2 failed"),
                  Exactly("TaskDB", "migration failed")});
    EXPECT_EQ(Version(), "1");
    EXPECT_EQ(Query("SELECT sql FROM sqlite_master WHERE name = 'path_op'"),
              (Rows{{{"sql", "CREATE UNIQUE INDEX path_op ON tasks (path,op)"}}}))
        << "the failed step is rolled back whole";
}

TEST_F(Queue, MigrationWaitsForItsTurn) {
    auto other = std::make_unique<Turn>();
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation != "nanosleep") {
            return std::nullopt;
        }
        EXPECT_EQ(Version(), "0");
        other.reset();
        return 0;
    });
    EXPECT_TRUE(_queue.OpenDB());
    EXPECT_THAT(PlatformDouble::Get().CallsOf("nanosleep"), SizeIs(1));
    EXPECT_EQ(Version(), "2");
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Queue, MigrationDoneByAnotherMeanwhileIsNotDoneAgain) {
    auto other = std::make_unique<Turn>();
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation == "nanosleep") {
            Change(std::string(kFirstVersion) + "PRAGMA user_version = 2");
            other.reset();
        }
        return call.operation == "nanosleep" ? std::optional(0) : std::nullopt;
    });
    BeginTrace();
    EXPECT_TRUE(_queue.OpenDB());
    EXPECT_THAT(Trace(), ElementsAre("PRAGMA user_version", "PRAGMA user_version"));
}

// What the platform answers when the time is up.
int LockAtOnce(const std::string& path) {
    using Lock = int (*)(const char*, int, int, int*);
    const auto lock =
        reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "_Z23NLIBCFileLockTimeByFilePKciiPi"));
    int descriptor = -1;
    return lock(path.c_str(), 1, 0, &descriptor);
}

TEST_F(Queue, TurnThatDoesNotComeIn150SecondsFailsTheMigrationOnly) {
    const Turn other;
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        return call.operation == "NLIBCFileLockTimeByFile"
                   ? std::optional(LockAtOnce(call.arguments.at(0)))
                   : std::nullopt;
    });
    EXPECT_FALSE(_queue.OpenDB());
    const auto locks = PlatformDouble::Get().CallsOf("NLIBCFileLockTimeByFile");
    ASSERT_THAT(locks, SizeIs(1));
    EXPECT_THAT(locks.at(0).arguments, ElementsAre(kLockFile, "1", "150"));
    ExpectLogged({AfterSqlite("TaskDB", "Failed [!lock]"), Exactly("TaskDB", "migration failed")});
    EXPECT_EQ(Version(), "0");
}

TEST_F(Queue, MigrationGivesItsTurnBack) {
    Open();
    const Turn mine;
}

TEST_F(Queue, FailedMigrationGivesItsTurnBack) {
    Change("CREATE VIEW tasks AS SELECT 1 AS path");
    EXPECT_FALSE(_queue.OpenDB());
    const Turn mine;
}

TEST_F(Queue, WithoutALockFileMigrationGoesOn) {
    const struct {
        const char* what;
        std::function<void()> make;
    } kInItsPlace[] = {
        {"a directory", [] { MakeDirectory(kLockFile); }},
        {"a link", [] { std::filesystem::create_symlink("/device/elsewhere", kLockFile); }},
        {"a pipe", [] { mkfifo(kLockFile, 0600); }},
    };
    for (const auto& place : kInItsPlace) {
        std::filesystem::remove(kLockFile);
        unlink(SZF_THUMB_DB_PATH);
        place.make();
        TaskDB queue;
        EXPECT_TRUE(queue.OpenDB()) << place.what;
        EXPECT_EQ(Version(), "2") << place.what;
        EXPECT_FALSE(Exists("/device/elsewhere"));
    }
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
    std::filesystem::remove(kLockFile);
}

TEST_F(Queue, EmptyQueueHasNoTask) {
    Open();
    TaskDB::Task task{7, true, "8", "/kept", 9};
    EXPECT_FALSE(_queue.GetTask(task));
    EXPECT_EQ(task.op, 7);
    EXPECT_TRUE(task.is_folder);
    EXPECT_EQ(task.id, "8");
    EXPECT_EQ(task.path, "/kept");
    EXPECT_EQ(task.convert_type, 9);
    std::vector<TaskDB::Task> tasks{task};
    EXPECT_TRUE(_queue.GetTasks(tasks, 0));
    EXPECT_THAT(tasks, IsEmpty());
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Queue, TaskIsReadBackAsItWas) {
    Open();
    constexpr auto kLeast = std::numeric_limits<int32_t>::min();
    constexpr auto kMost = std::numeric_limits<int32_t>::max();
    ASSERT_TRUE(_queue.AppendTask({kLeast, true, "ignored", "/volume1/dir", kMost}));
    TaskDB::Task task;
    ASSERT_TRUE(_queue.GetTask(task));
    EXPECT_EQ(task.op, kLeast);
    EXPECT_TRUE(task.is_folder);
    EXPECT_EQ(task.id, "1");
    EXPECT_EQ(task.path, "/volume1/dir");
    EXPECT_EQ(task.convert_type, kMost);
}

TEST_F(Queue, OldestTaskComesFirstAndStaysUntilItIsDeleted) {
    Open();
    Append("/b");
    Append("/a");
    TaskDB::Task task;
    ASSERT_TRUE(_queue.GetTask(task));
    EXPECT_EQ(task.path, "/b");
    ASSERT_TRUE(_queue.GetTask(task));
    EXPECT_EQ(task.path, "/b");
    EXPECT_TRUE(_queue.DeleteTask(task));
    ASSERT_TRUE(_queue.GetTask(task));
    EXPECT_EQ(task.path, "/a");
    EXPECT_EQ(task.id, "2");
}

TEST_F(Queue, CountLimitsTheTasks) {
    Open();
    for (const char* path : {"/a", "/b", "/c"}) {
        Append(path);
    }
    std::vector<TaskDB::Task> tasks;
    EXPECT_TRUE(_queue.GetTasks(tasks, 0));
    EXPECT_THAT(tasks, SizeIs(3));
    EXPECT_TRUE(_queue.GetTasks(tasks, 5));
    EXPECT_THAT(tasks, SizeIs(3));
    EXPECT_TRUE(_queue.GetTasks(tasks, 2));
    ASSERT_THAT(tasks, SizeIs(2));
    EXPECT_EQ(tasks[1].path, "/b");
}

TEST_F(Queue, FailedQueryIsToldAndLeavesTheTasks) {
    Open();
    Change("DROP TABLE tasks");
    std::vector<TaskDB::Task> tasks{TaskOn("/kept")};
    EXPECT_FALSE(_queue.GetTasks(tasks, 0));
    ExpectLogged({AfterSqlite("include/BaseDB", "error: no such table: tasks"),
                  Exactly("TaskDB", "query failed")});
    ASSERT_THAT(tasks, SizeIs(1));
    EXPECT_EQ(tasks[0].path, "/kept");
    TaskDB::Task task = TaskOn("/kept");
    EXPECT_FALSE(_queue.GetTask(task));
    EXPECT_EQ(task.path, "/kept");
    SyslogSink::Get().Clear();

    EXPECT_FALSE(_queue.AppendTask(TaskOn("/a")));
    EXPECT_FALSE(_queue.DeleteTask({0, false, "1", "", 0}));
    EXPECT_FALSE(_queue.IsConvertingPath("/a"));
    ExpectLogged({AfterSqlite("include/BaseDB", "error: not an error"),
                  AfterSqlite("include/BaseDB", "error: not an error"),
                  AfterSqlite("include/BaseDB", "error: no such table: tasks")});
}

TEST_F(Queue, ErrnoIsTold) {
    Open();
    AnswerNextQuery({});
    errno = EACCES;
    EXPECT_FALSE(_queue.DoMigration());
    ExpectLogged({Exactly("TaskDB", "result size: 0 is not correct [err: Permission denied]")});
    EXPECT_EQ(errno, 0);
}

TEST_F(Queue, ForeignRowsReadAsFarAsTheyGo) {
    Open();
    Change(
        "INSERT INTO tasks (is_folder,path,op,convert_type) VALUES "
        "(2,NULL,'12 apples','many'),(NULL,'/b',NULL,NULL)");
    std::vector<TaskDB::Task> tasks;
    ASSERT_TRUE(_queue.GetTasks(tasks, 0));
    ASSERT_THAT(tasks, SizeIs(2));
    EXPECT_EQ(tasks[0].path, "NULL");
    EXPECT_FALSE(tasks[0].is_folder);
    EXPECT_EQ(tasks[0].op, 12);
    EXPECT_EQ(tasks[0].convert_type, 0);
    EXPECT_FALSE(tasks[1].is_folder);
    EXPECT_EQ(tasks[1].op, 0);
}

TEST_F(Queue, ColumnsThatAreMissingReadAsEmpty) {
    Change(
        "CREATE TABLE tasks (id INTEGER PRIMARY KEY); INSERT INTO tasks VALUES (5);"
        "PRAGMA user_version = 3");
    Open();
    TaskDB::Task task = TaskOn("/old", 4, 5, true);
    ASSERT_TRUE(_queue.GetTask(task));
    EXPECT_EQ(task.id, "5");
    EXPECT_EQ(task.path, "");
    EXPECT_EQ(task.op, 0);
    EXPECT_EQ(task.convert_type, 0);
    EXPECT_FALSE(task.is_folder);
}

TEST_F(Queue, DuplicateIsIgnoredAndCountsAsSuccess) {
    Open();
    EXPECT_TRUE(_queue.AppendTask(TaskOn("/a", 1, 2, false)));
    EXPECT_TRUE(_queue.AppendTask(TaskOn("/a", 1, 2, true)));
    EXPECT_THAT(Paths(), SizeIs(1));
    EXPECT_EQ(Query("SELECT is_folder FROM tasks"), (Rows{{{"is_folder", "0"}}}));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Queue, OtherOperationOrTypeIsAnotherTask) {
    Open();
    Append("/a", 1, 2);
    Append("/a", 2, 2);
    Append("/a", 1, 3);
    EXPECT_THAT(Paths(), SizeIs(3));
}

TEST_F(Queue, StatementsAreTheDocumentedOnes) {
    BeginTrace();
    Open();
    Trace();
    _queue.AppendTask(TaskOn("/volume1/a.docx", 1, 2));
    EXPECT_THAT(Trace(), ElementsAre("BEGIN IMMEDIATE;",
                                     "INSERT OR IGNORE INTO tasks (is_folder,path,op,convert_type) "
                                     "VALUES (0,'/volume1/a.docx',1,2)",
                                     "COMMIT"));
    _queue.AppendTask(TaskOn("/it's", -1, -2, true));
    EXPECT_THAT(Trace(), ElementsAre("BEGIN IMMEDIATE;",
                                     "INSERT OR IGNORE INTO tasks (is_folder,path,op,convert_type) "
                                     "VALUES (1,'/it''s',-1,-2)",
                                     "COMMIT"));
    TaskDB::Task task;
    _queue.GetTask(task);
    EXPECT_THAT(Trace(), ElementsAre("SELECT * FROM tasks ORDER BY id ASC LIMIT 0,1"));
    std::vector<TaskDB::Task> tasks;
    _queue.GetTasks(tasks, 0);
    EXPECT_THAT(Trace(), ElementsAre("SELECT * FROM tasks ORDER BY id ASC"));
    _queue.DeleteTask(task);
    EXPECT_THAT(Trace(),
                ElementsAre("BEGIN IMMEDIATE;", "DELETE FROM tasks WHERE id = 1", "COMMIT"));
    _queue.IsConvertingPath("/it's 100%_");
    EXPECT_THAT(
        Trace(),
        ElementsAre("SELECT COUNT(*) AS count FROM tasks WHERE path LIKE '%/it''s 100%_%'"));
}

TEST_F(Queue, DifficultPathsAreStoredAndMatchedAsText) {
    Open();
    const std::vector<std::string> paths = DifficultTexts();
    for (const std::string& path : paths) {
        Append(path);
        EXPECT_TRUE(_queue.IsConvertingPath(path)) << path;
    }
    EXPECT_EQ(Paths(), paths);
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Queue, DeletingWhatIsNotThereSucceeds) {
    Open();
    Append("/a");
    EXPECT_TRUE(_queue.DeleteTask({0, false, "99", "/a", 0}));
    EXPECT_THAT(Paths(), ElementsAre("/a"));
}

TEST_F(Queue, DeletingWithoutAnIdFailsAndDeletesNothing) {
    Open();
    Append("/a");
    EXPECT_FALSE(_queue.DeleteTask(TaskOn("/a")));
    EXPECT_THAT(Paths(), ElementsAre("/a"));
}

TEST_F(Queue, IdsAreNotGivenTwice) {
    Open();
    Append("/a");
    TaskDB::Task task;
    ASSERT_TRUE(_queue.GetTask(task));
    ASSERT_TRUE(_queue.DeleteTask(task));
    Append("/b");
    ASSERT_TRUE(_queue.GetTask(task));
    EXPECT_EQ(task.id, "2");
}

TEST_F(Queue, PathIsFoundInLongerOnes) {
    Open();
    EXPECT_FALSE(_queue.IsConvertingPath("/volume1/dir"));
    EXPECT_FALSE(_queue.IsConvertingPath("")) << "nothing is queued";
    Append("/volume1/dir/sub/file.doc");
    EXPECT_TRUE(_queue.IsConvertingPath("/volume1/dir"));
    EXPECT_TRUE(_queue.IsConvertingPath(""));
    EXPECT_FALSE(_queue.IsConvertingPath("/volume1/dir/sub/file.docx"));
    Change("DELETE FROM tasks");
    Append("/volume1/directory");
    EXPECT_TRUE(_queue.IsConvertingPath("/volume1/dir"));
}

TEST_F(Queue, MatchingIsThatOfLike) {
    Open();
    Append("/volume1/Dir/a.doc");
    EXPECT_TRUE(_queue.IsConvertingPath("/VOLUME1/dIR"));
    EXPECT_TRUE(_queue.IsConvertingPath("/volume1/%.doc"));
    EXPECT_TRUE(_queue.IsConvertingPath("/volume_/dir"));
    EXPECT_FALSE(_queue.IsConvertingPath("/volume1_/dir"));
    Append("/volume1/Ä.doc");
    EXPECT_FALSE(_queue.IsConvertingPath("/volume1/ä.doc")) << "only ASCII letters have no case";
}

TEST_F(Queue, InjectionIntoTheMatchFindsNothing) {
    Open();
    Append("/a");
    EXPECT_FALSE(_queue.IsConvertingPath("x%' OR '1'='1"));
    EXPECT_FALSE(_queue.IsConvertingPath("'; DELETE FROM tasks; --"));
    EXPECT_THAT(Paths(), ElementsAre("/a"));
}

TEST_F(Queue, ManyMatchesAreAMatch) {
    Open();
    for (int i = 0; i < 10; ++i) {
        Append("/volume1/" + std::to_string(i));
    }
    EXPECT_TRUE(_queue.IsConvertingPath("/volume1/")) << "a count of 10";
}

TEST_F(Queue, PatternThatIsTooLongForSqliteIsAFailure) {
    Open();
    Append("/a");
    EXPECT_FALSE(_queue.IsConvertingPath(std::string(60000, 'x')));
    ExpectLogged({AfterSqlite("include/BaseDB", "error: LIKE or GLOB pattern too complex")});
}
