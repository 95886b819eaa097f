// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TASKDB_H
#define VELLUMO_TASKDB_H

#include <cstdint>
#include <string>
#include <vector>

#include "BaseDB.h"
#include "Export.h"

namespace NAVO::VELLUMO {

// The queue of pending work on files and folders: thumb.db (SZF_THUMB_DB_PATH), table tasks.
// Producers append tasks. A consumer reads the oldest tasks, works on them and deletes them.
//
// Call OpenDB first. Operations that fail return false and are logged; none throws on a database
// error. One thread at a time may use an object. SQLite's locks keep processes apart. Changes wait
// for at most 150 seconds for another process's lock, queries for at most one second.
class VELLUMO_API TaskDB {
public:
    // One row; every member is the column of its name. The queue stores the numbers as they are:
    // those who append and consume agree on what they mean.
    struct Task {
        int32_t op = 0;            // operation code
        bool is_folder = false;    // whether `path` is a folder
        std::string id;            // decimal text, assigned by the database: the order in the queue
        std::string path;          // the file or folder that the task is about
        int32_t convert_type = 0;  // which products the task is about
    };

    // The connection is closed at first; the destructor closes it.
    TaskDB() = default;
    ~TaskDB() = default;
    TaskDB(const TaskDB&) = delete;
    TaskDB& operator=(const TaskDB&) = delete;

    // Opens the database, creates the file if it is missing (its directory must exist) and brings
    // its tables to the newest version. When the connection is open already, only does the latter.
    // Sets `opened` to the result and returns it. After a failure to open, create a new object.
    bool OpenDB();

    // Brings an open database to version 2 (SQLite's user_version), one transaction for each step.
    // Leaves databases of version 2 and later as they are. When a step fails, the steps before it
    // stay done. Throws std::invalid_argument when the version is not a number, which SQLite's
    // never is.
    // Processes take turns by a lock on the file beside the database whose name has ".lock"
    // appended. A process that has waited for its turn for 150 seconds gives up. Where such a file
    // cannot be created or locked, it works without the lock.
    bool DoMigration();

    // Sets `tasks` to the oldest `count` tasks, oldest first; to all tasks when `count` is 0.
    // Leaves `tasks` as it was on failure.
    bool GetTasks(std::vector<Task>& tasks, unsigned long count);

    // Sets `task` to the oldest task. The task stays in the queue, so another consumer may read it
    // too until it is deleted. Returns false, with `task` as it was, when the queue is empty.
    bool GetTask(Task& task);

    // Appends a task; ignores `task.id`. When the queue holds a task with the same path, op and
    // convert_type, returns true and changes nothing.
    bool AppendTask(const Task& task);

    // Deletes the task with the id `task.id`. The id becomes part of the SQL statement as it is: it
    // must come from the queue, never from another source. Returns true also when there is no such
    // task.
    bool DeleteTask(const Task& task);

    // Whether the path of any queued task contains `path`: /volume1/dir is in /volume1/dir/a.doc
    // and in /volume1/directory. Ignores the case of ASCII letters; "%" in `path` stands for any
    // text and "_" for any one character. Returns false on failure too.
    bool IsConvertingPath(const std::string& path);

private:
    BaseDB _db;

public:
    // Declared last because the order of the fields is part of the binary interface.

    bool opened = false;  // result of the last OpenDB
};

}  // namespace NAVO::VELLUMO

#endif
