// SPDX-License-Identifier: Apache-2.0
#include "vellumo/ThirdPartyConvertDB.h"

#include "common/Log.h"
#include "db/RowText.h"
#include "vellumo/Constants.h"

namespace NAVO::VELLUMO {
namespace {

constexpr const char* kSource = "ThirdPartyConvertDB";
constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS tasks (id INTEGER PRIMARY KEY,task_id TEXT,uid INTEGER,"
    "orig_path TEXT,conv_path TEXT,error_code INTEGER)";

std::string Quoted(const std::string& text) {
    return BaseDB::EscapeString(text, true);
}

}  // namespace

bool ThirdPartyConvertDB::OpenDB() {
    _db.path = SZF_THIRD_PARTY_DB_PATH;
    opened = false;
    if (_db.db == nullptr && !_db.Open()) {
        log::Error(kSource, __LINE__, "open db failed");
        return false;
    }
    opened = _db.ExecTransaction(kSchema);
    if (!opened) {
        log::Error(kSource, __LINE__, "create db failed");
    }
    return opened;
}

bool ThirdPartyConvertDB::Create(const Task& task) {
    return _db.ExecTransaction(
        "INSERT INTO tasks (task_id,uid,orig_path,conv_path,error_code)VALUES(" +
        Quoted(task.task_id) + "," + std::to_string(task.uid) + "," + Quoted(task.orig_path) + "," +
        Quoted(task.conv_path) + "," + std::to_string(task.error_code) + ")");
}

bool ThirdPartyConvertDB::Update(const Task& task) {
    return _db.ExecTransaction(
        "UPDATE tasks SET task_id = " + Quoted(task.task_id) +
        ",orig_path = " + Quoted(task.orig_path) + ",conv_path = " + Quoted(task.conv_path) +
        ",error_code = " + std::to_string(task.error_code) + ",uid = " + std::to_string(task.uid) +
        " WHERE id = " + Quoted(task.id));
}

bool ThirdPartyConvertDB::GetByTaskId(const std::string& taskId, Task& task) {
    std::vector<Row> rows;
    if (!_db.QueryResult("SELECT * FROM tasks WHERE task_id = " + Quoted(taskId), rows) ||
        rows.size() != 1) {
        return false;
    }
    Row& row = rows.front();
    task = {db::ToNumber<int32_t>(row["error_code"]),
            db::ToNumber<uint32_t>(row["uid"]),
            row["id"],
            taskId,
            row["orig_path"],
            row["conv_path"]};
    return true;
}

bool ThirdPartyConvertDB::DeleteByTaskId(const std::string& taskId) {
    return _db.ExecTransaction("DELETE FROM tasks WHERE task_id = " + Quoted(taskId));
}

bool ThirdPartyConvertDB::Delete(const Task& task) {
    return DeleteByTaskId(task.task_id);
}

}  // namespace NAVO::VELLUMO
