// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DB_MIGRATIONLOCK_H
#define VELLUMO_DB_MIGRATIONLOCK_H

#include <string>

namespace NAVO::VELLUMO::db {

// A process's turn to migrate a database, for as long as the object lives. The version is read and
// the steps are carried out in several transactions, between which SQLite would let others in.
//
// The lock is on a file of its own, "DATABASE.lock", which stays: SQLite's locks on the database
// belong to the process, so they would be lost if that file were opened and closed once more. Where
// the lock file cannot be made or locked, the turn is taken without it. As a rule SQLite cannot
// make its journal there either, and the migration fails in a way that is logged.
class MigrationLock {
public:
    // Waits for up to 150 seconds, as a transaction does for SQLite's lock. errno stays as it is.
    explicit MigrationLock(const std::string& database);
    ~MigrationLock();
    MigrationLock(const MigrationLock&) = delete;
    MigrationLock& operator=(const MigrationLock&) = delete;

    // False when it is still another process's turn.
    explicit operator bool() const { return !_timedOut; }

private:
    int _file = -1;  // holds the lock; -1 without one
    bool _timedOut = false;
};

}  // namespace NAVO::VELLUMO::db

#endif
