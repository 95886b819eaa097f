// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_BASEDB_H
#define VELLUMO_BASEDB_H

#include <map>
#include <string>
#include <vector>

#include "Export.h"

struct sqlite3;

namespace NAVO::VELLUMO {

// One row of a result: column name to value, as text. SQL's NULL is the text "NULL".
using Row = std::map<std::string, std::string>;

// One SQLite connection, with the operations that all databases of the package share.
//
// Operations that fail return false and, except for Open, write a message to the system log. One
// thread at a time may use an object. Several processes may use one database file: SQLite's own
// locks keep them apart.
class VELLUMO_API BaseDB {
public:
    // Leaves the connection closed: set `path`, then call Open.
    BaseDB() = default;

    // Closes the connection.
    virtual ~BaseDB();
    BaseDB(const BaseDB&) = delete;
    BaseDB& operator=(const BaseDB&) = delete;

    // Opens the database file `path` and creates it if it is missing; its directory must exist. An
    // absolute path: a new file gets the mode 0600, and one of the caller's loses the permissions
    // of group and others, because whoever can open a database can lock it. Returns false, without
    // a message, when the file cannot be opened; every statement then fails. From then on each
    // statement waits for at most 1000 milliseconds for another process's lock.
    bool Open();

    // Runs `sql` and appends each row of its result to `rows`. Returns false, with a message in the
    // system log, when SQLite fails; the rows read before that stay in `rows`.
    bool QueryResult(const std::string& sql, std::vector<Row>& rows);

    // Runs `sql`, one or more statements, in an immediate transaction.
    //
    // Returns false, with a message in the system log, when the transaction cannot be begun, when a
    // statement fails (the transaction is then rolled back) or when it cannot be committed.
    // While another process holds the database locked, it tries to begin 100 times, half a second
    // apart; each attempt waits for at most one second. After the 100th attempt it runs the
    // statements without a transaction: they may have taken effect although it returns false.
    bool ExecTransaction(const std::string& sql);

    // Runs `sql` as it is, outside a transaction. Returns false, with a message in the system log,
    // when SQLite fails.
    bool Exec(const std::string& sql);

    // Returns `value` for use in an SQL text: every single quote is doubled and, when `quoted`,
    // single quotes stand around the whole. Returns "", with a message in the system log, when
    // there is not enough memory.
    static std::string EscapeString(const std::string& value, bool quoted);

    sqlite3* db = nullptr;  // the connection; null while it is closed
    std::string path;       // the database file
};

}  // namespace NAVO::VELLUMO

#endif
