// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_THIRDPARTYCONVERTDB_H
#define VELLUMO_THIRDPARTYCONVERTDB_H

#include <cstdint>
#include <string>

#include "BaseDB.h"
#include "Export.h"

namespace NAVO::VELLUMO {

// One record for each conversion that another application asked for: third_party_convert.db
// (SZF_THIRD_PARTY_DB_PATH), table tasks.
//
// Call OpenDB first. Failures are logged and become false. An object belongs to one thread at a
// time; processes are kept apart by SQLite. Changes wait for another process's lock for up to 150
// seconds, reading waits for one second.
class VELLUMO_API ThirdPartyConvertDB {
public:
    // One row; every member is the column of its name.
    struct Task {
        int32_t error_code = 0;  // outcome of the conversion; the callers settle its meaning
        uint32_t uid = 0;        // user on whose behalf it runs
        std::string id;          // decimal text, given by the database: names the row
        std::string task_id;     // given by the application; meant to be unique, not kept so
        std::string orig_path;   // the source file
        std::string conv_path;   // the converted file
    };

    // Closed at first; the end of the object closes the connection.
    ThirdPartyConvertDB() = default;
    ~ThirdPartyConvertDB() = default;
    ThirdPartyConvertDB(const ThirdPartyConvertDB&) = delete;
    ThirdPartyConvertDB& operator=(const ThirdPartyConvertDB&) = delete;

    // Opens the database, creating the file when it is missing (its directory must exist), and
    // creates the table where it is missing; on an object that has been opened, does only the
    // latter. Sets `opened` and returns it. After a failure to open, a new object is needed.
    bool OpenDB();

    // Inserts a record; `task.id` is not looked at. A second one of the same task_id is accepted,
    // and neither can be read by it then.
    bool Create(const Task& task);

    // Rewrites the record whose id is `task.id`, all of its other columns. Succeeds when there is
    // none.
    bool Update(const Task& task);

    // Sets `task` to the record of `taskId`. False, and `task` as it was, unless there is exactly
    // one; that is not logged.
    bool GetByTaskId(const std::string& taskId, Task& task);

    // Deletes every record of `taskId`. Succeeds when there is none.
    bool DeleteByTaskId(const std::string& taskId);

    // Deletes every record of `task.task_id`; `task.id` is not looked at.
    bool Delete(const Task& task);

private:
    BaseDB _db;

public:
    // Here, since the order of the fields is part of the binary interface.
    bool opened = false;  // what the last OpenDB came to
};

}  // namespace NAVO::VELLUMO

#endif
