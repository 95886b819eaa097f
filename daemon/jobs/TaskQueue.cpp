// SPDX-License-Identifier: Apache-2.0
#include "jobs/TaskQueue.h"

#include <charconv>

#include "loader/Problem.h"
#include "vellumo/BaseDB.h"
#include "vellumo/Constants.h"
#include "vellumo/TaskDB.h"

namespace vellumo::daemon {
namespace {

namespace core = NAVO::VELLUMO;
using loader::Operation;

// A column without a number, which an older version leaves NULL, counts as 0.
int32_t Number(const std::string& text) {
    int32_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string NumberOf(Operation operation) {
    return std::to_string(static_cast<int32_t>(operation));
}

// The ids come from the database: they are numbers.
std::string ListOf(const std::set<std::string>& ids) {
    std::string list;
    for (const std::string& id : ids) {
        list += (list.empty() ? "" : ",") + id;
    }
    return "(" + list + ")";
}

std::string Condition(TaskQueue::Kind kind) {
    if (kind == TaskQueue::Kind::kUrgent) {
        return "op = " + NumberOf(Operation::kConvertNow);
    }
    return "op IN (" + NumberOf(Operation::kConvert) + "," + NumberOf(Operation::kRemove) + "," +
           NumberOf(Operation::kReindex) + ")";
}

QueuedTask ToTask(core::Row& row) {
    return {row["id"], row["path"], row["is_folder"] == "1",
            loader::OperationOf(Number(row["op"])).value_or(Operation::kConvert),
            loader::ProductsOf(Number(row["convert_type"])).value_or(loader::Products::kBoth)};
}

// Without creating a missing database: nothing is queued there.
bool Query(const std::string& sql, std::vector<core::Row>& rows) {
    core::BaseDB database;
    database.path = core::SZF_THUMB_DB_PATH;
    return database.Open() && database.QueryResult(sql, rows);
}

}  // namespace

TaskQueue::TaskQueue() {
    core::TaskDB queue;
    if (!queue.OpenDB()) {
        throw loader::Failure(
            {loader::Reason::kNotPrepared, "cannot work on the queue",
             std::string(core::SZF_THUMB_DB_PATH) + " cannot be opened",
             "The system log has the reason. A damaged queue may be moved away: a new, empty one "
             "is created."});
    }
}

// Creates the database again when somebody has removed it: it is nothing that keeps the daemon from
// its other work.
bool TaskQueue::MayHaveMore() {
    struct stat status {};
    if (stat(core::SZF_THUMB_DB_PATH, &status) != 0) {
        core::TaskDB().OpenDB();
        return false;
    }
    const bool changed =
        status.st_mtim.tv_sec != _changed.tv_sec || status.st_mtim.tv_nsec != _changed.tv_nsec;
    _changed = status.st_mtim;
    return changed || _hasUrgentLeft || _hasOrdinaryLeft || !_done.empty();
}

std::vector<QueuedTask> TaskQueue::Take(Kind kind, size_t count) {
    DeleteDone();
    std::vector<core::Row> rows;
    std::vector<QueuedTask> tasks;
    if (!Query("SELECT id, path, is_folder, op, convert_type FROM tasks WHERE " + Condition(kind) +
                   " AND id NOT IN " + ListOf(_taken) + " ORDER BY id LIMIT " +
                   std::to_string(count),
               rows)) {
        return tasks;
    }
    (kind == Kind::kUrgent ? _hasUrgentLeft : _hasOrdinaryLeft) = rows.size() == count;
    for (core::Row& row : rows) {
        tasks.push_back(ToTask(row));
        _taken.insert(tasks.back().id);
    }
    return tasks;
}

// A deleted task stays among the taken ones until it is deleted for sure.
void TaskQueue::Finish(const std::vector<std::string>& ids) {
    _done.insert(ids.begin(), ids.end());
    DeleteDone();
}

void TaskQueue::DeleteDone() {
    if (_done.empty()) {
        return;
    }
    core::BaseDB database;
    database.path = core::SZF_THUMB_DB_PATH;
    if (database.Open() && database.Exec("DELETE FROM tasks WHERE id IN " + ListOf(_done))) {
        for (const std::string& id : _done) {
            _taken.erase(id);
        }
        _done.clear();
    }
}

std::optional<int64_t> TaskQueue::Count() const {
    std::vector<core::Row> rows;
    if (!Query("SELECT COUNT(*) AS count FROM tasks", rows) || rows.size() != 1) {
        return std::nullopt;
    }
    const auto done = static_cast<int64_t>(_done.size());
    return std::stoll(rows.front()["count"]) - done;
}

}  // namespace vellumo::daemon
