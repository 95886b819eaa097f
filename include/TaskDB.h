// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TASKDB_H
#define VELLUMO_TASKDB_H

#include <cstdint>
#include <string>
#include <vector>

#include "BaseDB.h"
#include "Export.h"

namespace NAVO::VELLUMO {

// The queue of pending work on files and folders, thumb.db (SZF_THUMB_DB_PATH), table tasks:
// producers append, a consumer reads the oldest tasks, works on them and deletes them.
//
// Call OpenDB first. Failures are logged and become false; nothing throws on a database error. An
// object belongs to one thread at a time; processes are kept apart by SQLite. Changes wait for
// another process's lock for up to 150 seconds, reading waits for one second.
class VELLUMO_API TaskDB {
public:
    // One row. The queue keeps the numbers as they are; what they mean is settled by those who
    // append and consume.
    struct Task {
        int32_t op = 0;          // operation code
        bool is_folder = false;  // whether `path` is a folder
        std::string id;          // decimal text, given by the database: the order in the queue
        std::string path;        // what the task is about
        int32_t convert_type = 0;
    };

    // Closed at first; the end of the object closes the connection.
    TaskDB() = default;
    ~TaskDB() = default;
    TaskDB(const TaskDB&) = delete;
    TaskDB& operator=(const TaskDB&) = delete;

    // Opens the database, creating the file when it is missing (its directory must exist), and
    // brings its tables to the newest version; on an object that has been opened, does only the
    // latter. Sets `opened` and returns it. After a failure to open, a new object is needed.
    bool OpenDB();

    // Brings an open database to version 2 (SQLite's user_version), one transaction for each step;
    // steps that were done before one that fails stay. Databases of version 2 and later are left
    // as they are. Processes take turns by a lock on the file beside the database whose name has
    // ".lock" appended; one that has waited for its turn for 150 seconds gives up, and where there
    // can be no such file they do without. Throws std::invalid_argument when the version is not a
    // number, which SQLite's never is.
    bool DoMigration();

    // Sets `tasks` to the oldest `count` tasks, oldest first; to all of them when `count` is 0.
    // After a failure `tasks` is as it was.
    bool GetTasks(std::vector<Task>& tasks, unsigned long count);

    // Sets `task` to the oldest task and leaves it in the queue, so that another consumer may read
    // it too until it is deleted. False, and `task` as it was, when there is none.
    bool GetTask(Task& task);

    // Appends a task; `task.id` is not looked at. Succeeds without a change when there is one of
    // the same path, op and convert_type.
    bool AppendTask(const Task& task);

    // Deletes the task with the id `task.id`, which becomes part of the statement as it is: it must
    // be one that was read from the queue, never text of other origin. Succeeds when there is none.
    bool DeleteTask(const Task& task);

    // Whether the path of any queued task contains `path`: /volume1/dir is in /volume1/dir/a.doc
    // and in /volume1/directory. Upper and lower case of ASCII letters are the same, "%" in `path`
    // stands for any text and "_" for any one character. False on failure too.
    bool IsConvertingPath(const std::string& path);

private:
    BaseDB _db;

public:
    // Here, since the order of the fields is part of the binary interface.
    bool opened = false;  // what the last OpenDB came to
};

}  // namespace NAVO::VELLUMO

#endif
