// SPDX-License-Identifier: Apache-2.0
#include "vellumo/BaseDB.h"

#include <sqlite3.h>

#include <cstring>
#include <ctime>
#include <exception>
#include <memory>
#include <utility>

#include "common/Log.h"
#include "support/PrivateFile.h"

namespace NAVO::VELLUMO {
namespace {

constexpr const char* kSource = "include/BaseDB";
constexpr int kBusyTimeoutMs = 1000;
constexpr int kBeginAttempts = 100;
constexpr timespec kBeginRetryPause{0, 500000000};

bool Run(sqlite3* db, const std::string& sql) {
    return sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

int CollectRow(void* context, int columns, char** values, char** names) {
    try {
        Row row;
        for (int i = 0; i < columns; ++i) {
            row[names[i]] = values[i] == nullptr ? "NULL" : values[i];
        }
        static_cast<std::vector<Row>*>(context)->push_back(std::move(row));
    } catch (const std::exception&) {
        return 1;  // ends the query: SQLite is C code, and no exception may pass through it
    }
    return 0;
}

// Begins a transaction that takes the write lock at once. False when that fails for another reason
// than another process's lock. True too when all attempts meet such a lock: the caller then tries
// the statements without a transaction.
bool BeginImmediate(sqlite3* db) {
    for (int attempt = 0; attempt < kBeginAttempts; ++attempt) {
        if (Run(db, "BEGIN IMMEDIATE;")) {
            return true;
        }
        if (std::strstr(sqlite3_errmsg(db), "locked") == nullptr) {
            return false;
        }
        nanosleep(&kBeginRetryPause, nullptr);
    }
    return true;
}

}  // namespace

BaseDB::~BaseDB() {
    if (db != nullptr) {
        sqlite3_close(db);
        db = nullptr;
    }
}

bool BaseDB::Open() {
    if (path.starts_with('/')) {  // not so the names that SQLite gives a meaning, as :memory:
        vellumo::support::EnsurePrivateFile(path);  // its journal gets the same mode
    }
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK ||
        sqlite3_busy_timeout(db, kBusyTimeoutMs) != SQLITE_OK) {
        return false;
    }
    // With less, a power cut may bring back the journal of a transaction that was committed, and
    // undo it. In a file that is no database this fails, as its first statement will.
    Run(db, "PRAGMA synchronous = EXTRA");
    return true;
}

// These change the database and not its handle, so the compiler would accept const; for callers the
// object does change.
// NOLINTBEGIN(readability-make-member-function-const)
bool BaseDB::QueryResult(const std::string& sql, std::vector<Row>& rows) {
    if (sqlite3_exec(db, sql.c_str(), CollectRow, &rows, nullptr) != SQLITE_OK) {
        log::Error(kSource, __LINE__, "error: %s", sqlite3_errmsg(db));
        return false;
    }
    return true;
}

bool BaseDB::ExecTransaction(const std::string& sql) {
    if (BeginImmediate(db) && Run(db, sql) && Run(db, "COMMIT")) {
        return true;
    }
    Run(db, "ROLLBACK");
    // This logs the result of the rollback: an error text there means that the transaction was
    // never begun.
    log::Error(kSource, __LINE__, "error: %s", sqlite3_errmsg(db));
    return false;
}

bool BaseDB::Exec(const std::string& sql) {
    if (!Run(db, sql)) {
        log::Error(kSource, __LINE__, "error: %s", sqlite3_errmsg(db));
        return false;
    }
    return true;
}
// NOLINTEND(readability-make-member-function-const)

std::string BaseDB::EscapeString(const std::string& value, bool quoted) {
    const std::unique_ptr<char, decltype(&sqlite3_free)> escaped(
        sqlite3_mprintf(quoted ? "'%q'" : "%q", value.c_str()), &sqlite3_free);
    if (escaped == nullptr) {
        std::string nothing;
        log::Error(kSource, __LINE__, "escape string %s failed", nothing.c_str());
        return nothing;
    }
    return escaped.get();
}

}  // namespace NAVO::VELLUMO
