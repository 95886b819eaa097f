// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_THIRDPARTYCONVERTDB_H
#define VELLUMO_THIRDPARTYCONVERTDB_H

#include <cstdint>
#include <string>

#include "BaseDB.h"
#include "Export.h"

namespace NAVO::VELLUMO {

// Records of the conversions that other applications have asked for, one for each:
// third_party_convert.db (SZF_THIRD_PARTY_DB_PATH), table tasks.
//
// Call OpenDB first. Operations that fail return false and are logged. One thread at a time may use
// an object. SQLite's locks keep processes apart. Changes wait for at most 150 seconds for another
// process's lock, queries for at most one second.
class VELLUMO_API ThirdPartyConvertDB {
public:
    // One row; every member is the column of its name.
    struct Task {
        int32_t error_code = 0;  // result of the conversion; the callers agree on its meaning
        uint32_t uid = 0;        // id of the user for whom the conversion runs
        std::string id;          // decimal text, assigned by the database: identifies the row
        std::string task_id;     // given by the application; should be unique, which is not checked
        std::string orig_path;   // the source file
        std::string conv_path;   // the converted file
    };

    // The connection is closed at first; the destructor closes it.
    ThirdPartyConvertDB() = default;
    ~ThirdPartyConvertDB() = default;
    ThirdPartyConvertDB(const ThirdPartyConvertDB&) = delete;
    ThirdPartyConvertDB& operator=(const ThirdPartyConvertDB&) = delete;

    // Opens the database, creates the file if it is missing (its directory must exist) and creates
    // the table if it is missing. When the connection is open already, only does the latter. Sets
    // `opened` to the result and returns it. After a failure to open, create a new object.
    bool OpenDB();

    // Inserts a record; ignores `task.id`. Accepts a second record with the same task_id, but then
    // GetByTaskId finds neither.
    bool Create(const Task& task);

    // Replaces all other columns of the record whose id is `task.id`. Returns true also when there
    // is no such record.
    bool Update(const Task& task);

    // Sets `task` to the record of `taskId`. Returns false, without a message and with `task` as it
    // was, unless there is exactly one.
    bool GetByTaskId(const std::string& taskId, Task& task);

    // Deletes every record of `taskId`. Returns true also when there is none.
    bool DeleteByTaskId(const std::string& taskId);

    // Deletes every record of `task.task_id`, as DeleteByTaskId does; ignores `task.id`.
    bool Delete(const Task& task);

private:
    BaseDB _db;

public:
    // Declared last because the order of the fields is part of the binary interface.

    bool opened = false;  // result of the last OpenDB
};

}  // namespace NAVO::VELLUMO

#endif
