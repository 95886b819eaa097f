// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_BASEDB_H
#define VELLUMO_BASEDB_H

#include <map>
#include <string>
#include <vector>

#include "Export.h"

struct sqlite3;

namespace NAVO::VELLUMO {

// One row of a result: column name to value as text. NULL is the text "NULL".
using Row = std::map<std::string, std::string>;

// One SQLite connection, and the three things that every database of the package does with it.
//
// Failures are logged and become false. An object belongs to one thread at a time; processes are
// kept apart by SQLite's own locks on the database file.
class VELLUMO_API BaseDB {
public:
    BaseDB() = default;

    // Closes the connection.
    virtual ~BaseDB();
    BaseDB(const BaseDB&) = delete;
    BaseDB& operator=(const BaseDB&) = delete;

    // Opens `path`, creating the file when it is missing (its directory must exist); each statement
    // waits up to 1000 milliseconds for a lock of another process. False when it cannot be opened:
    // every statement then fails. Nothing is logged.
    bool Open();

    // Runs `sql` and appends a row for each row of its result to `rows`. False, with a message in
    // the system log, when SQLite fails; rows that came before stay in `rows`.
    bool QueryResult(const std::string& sql, std::vector<Row>& rows);

    // Runs `sql`, one or more statements, in an immediate transaction. While another process holds
    // the database locked, beginning is tried 100 times, half a second apart and each up to a
    // second long. False, with a message in the system log, when it could not be begun, failed (it
    // is rolled back then) or could not be committed; after the 100th try the statements run
    // without a transaction, so that they may have been carried out nevertheless.
    bool ExecTransaction(const std::string& sql);

    // Runs `sql` as it is, outside a transaction. False, with a message in the system log, when
    // SQLite fails.
    bool Exec(const std::string& sql);

    // `value` as the inside of an SQL text, single quotes doubled; with the quotes around it when
    // `quoted`. Empty, with a message in the system log, when there is no memory for it.
    static std::string EscapeString(const std::string& value, bool quoted);

    sqlite3* db = nullptr;  // null while closed
    std::string path;       // file of the database
};

}  // namespace NAVO::VELLUMO

#endif
