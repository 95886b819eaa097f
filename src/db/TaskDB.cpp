// SPDX-License-Identifier: Apache-2.0
#include "vellumo/TaskDB.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

#include "common/Log.h"
#include "db/MigrationLock.h"
#include "db/RowText.h"
#include "vellumo/Constants.h"

namespace NAVO::VELLUMO {
namespace {

constexpr const char* kSource = "TaskDB";

// Indexed by the version that each script starts from.
constexpr std::array<const char*, 2> migrationScripts{
    "CREATE TABLE IF NOT EXISTS tasks ( id                  INTEGER    PRIMARY KEY ASC "
    "AUTOINCREMENT,is_folder           INTEGER,path                TEXT,op                  "
    "INTEGER);CREATE UNIQUE INDEX IF NOT EXISTS path_op ON tasks (path,op);CREATE INDEX IF NOT "
    "EXISTS path ON tasks (path);PRAGMA user_version = 1;",
    "ALTER TABLE tasks ADD COLUMN convert_type INTEGER;DROP INDEX path_op;CREATE UNIQUE INDEX IF "
    "NOT EXISTS path_op ON tasks (path,op,convert_type);PRAGMA user_version = 2;"};
constexpr int kNewestVersion = migrationScripts.size();

bool ReadVersion(BaseDB& db, int& version) {
    std::vector<Row> result;
    if (!db.QueryResult("PRAGMA user_version", result)) {
        log::Failed(kSource, __LINE__, "!_db.QueryResult(\"PRAGMA user_version\", result)");
        return false;
    }
    if (result.size() != 1) {
        log::Error(kSource, __LINE__, "result size: %d is not correct",
                   static_cast<int>(result.size()));
        return false;
    }
    version = std::stoi(result.front()["user_version"]);
    return true;
}

bool Migrate(BaseDB& db, int version) {
    for (int from = std::max(version, 0); from < kNewestVersion; ++from) {
        if (!db.ExecTransaction(migrationScripts.at(static_cast<size_t>(from)))) {
            log::Error(kSource, __LINE__, "database migration from %d to %d failed", from,
                       from + 1);
            return false;
        }
    }
    return true;
}

TaskDB::Task TaskOf(Row& row) {
    return {db::ToNumber<int32_t>(row["op"]), row["is_folder"] == "1", row["id"], row["path"],
            db::ToNumber<int32_t>(row["convert_type"])};
}

}  // namespace

bool TaskDB::OpenDB() {
    _db.path = SZF_THUMB_DB_PATH;
    opened = false;
    if (_db.db == nullptr && !_db.Open()) {
        log::Error(kSource, __LINE__, "open db failed");
        return false;
    }
    opened = DoMigration();
    if (!opened) {
        log::Error(kSource, __LINE__, "migration failed");
    }
    return opened;
}

bool TaskDB::DoMigration() {
    int version = 0;
    if (!ReadVersion(_db, version)) {
        return false;
    }
    if (version >= kNewestVersion) {
        return true;
    }
    const db::MigrationLock lock(_db.path);
    if (!lock) {
        log::Failed(kSource, __LINE__, "!lock");
        return false;
    }
    // Another process may have migrated meanwhile. Running the first step again would set the
    // version back to 1; from there the second step always fails, because its column exists
    // already.
    return ReadVersion(_db, version) && Migrate(_db, version);
}

bool TaskDB::GetTasks(std::vector<Task>& tasks, unsigned long count) {
    std::string query = "SELECT * FROM tasks ORDER BY id ASC";
    if (count != 0) {
        query += " LIMIT 0," + std::to_string(count);
    }
    std::vector<Row> rows;
    if (!_db.QueryResult(query, rows)) {
        log::Error(kSource, __LINE__, "query failed");
        return false;
    }
    tasks.clear();
    std::transform(rows.begin(), rows.end(), std::back_inserter(tasks), TaskOf);
    return true;
}

bool TaskDB::GetTask(Task& task) {
    std::vector<Task> tasks;
    if (!GetTasks(tasks, 1) || tasks.empty()) {
        return false;
    }
    task = tasks.front();
    return true;
}

bool TaskDB::AppendTask(const Task& task) {
    return _db.ExecTransaction(
        std::string("INSERT OR IGNORE INTO tasks (is_folder,path,op,convert_type) VALUES (") +
        (task.is_folder ? "1" : "0") + "," + BaseDB::EscapeString(task.path, true) + "," +
        std::to_string(task.op) + "," + std::to_string(task.convert_type) + ")");
}

bool TaskDB::DeleteTask(const Task& task) {
    return _db.ExecTransaction("DELETE FROM tasks WHERE id = " + task.id);
}

bool TaskDB::IsConvertingPath(const std::string& path) {
    std::vector<Row> rows;
    if (!_db.QueryResult("SELECT COUNT(*) AS count FROM tasks WHERE path LIKE '%" +
                             BaseDB::EscapeString(path, false) + "%'",
                         rows) ||
        rows.empty()) {
        return false;
    }
    return !rows.front()["count"].starts_with('0');
}

}  // namespace NAVO::VELLUMO
