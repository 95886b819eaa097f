// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DB_MIGRATIONLOCK_H
#define VELLUMO_DB_MIGRATIONLOCK_H

#include <string>

namespace NAVO::VELLUMO::db {

// A process's turn to migrate a database, for as long as the object lives. A migration reads the
// version and then runs several transactions; between them SQLite would let other processes in.
//
// The lock is on a file of its own, "DATABASE.lock", which is never removed. It is not on the
// database file: SQLite's locks on that file belong to the process, which would lose them if it
// opened and closed the file once more. When the lock file cannot be created or locked, the process
// takes its turn without the lock. Usually SQLite cannot create its journal there either, so the
// migration fails and the failure is logged.
class MigrationLock {
public:
    // Waits for at most 150 seconds, as a transaction does for SQLite's lock. Leaves errno as it
    // is.
    explicit MigrationLock(const std::string& database);
    ~MigrationLock();
    MigrationLock(const MigrationLock&) = delete;
    MigrationLock& operator=(const MigrationLock&) = delete;

    // False when it is still another process's turn.
    explicit operator bool() const { return !_timedOut; }

private:
    int _file = -1;  // descriptor that holds the lock; -1 without a lock
    bool _timedOut = false;
};

}  // namespace NAVO::VELLUMO::db

#endif
