// SPDX-License-Identifier: Apache-2.0
#include "loader/Database.h"

#include <sqlite3.h>

#include <chrono>
#include <thread>

#include "support/PrivateFile.h"

namespace vellumo::loader {
namespace {

constexpr int kWaitMs = 5000;

constexpr const char* kMode = "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;";

// SQLite does not wait for others when several processes make a new file a WAL database at once.
bool Execute(sqlite3* database, const char* sql) {
    constexpr std::chrono::milliseconds kPause(10);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kWaitMs);
    for (;;) {
        const int result = sqlite3_exec(database, sql, nullptr, nullptr, nullptr);
        if (result != SQLITE_BUSY || std::chrono::steady_clock::now() >= end) {
            return result == SQLITE_OK;
        }
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace

Database::Database(const std::string& file, const char* tables)
    : _database(nullptr, sqlite3_close_v2) {
    support::EnsurePrivateFile(file);
    sqlite3* opened = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW;
    const int result = sqlite3_open_v2(file.c_str(), &opened, flags, nullptr);
    _database.reset(opened);
    if (result != SQLITE_OK) {
        throw DatabaseError("cannot open " + file + ": " + sqlite3_errstr(result));
    }
    sqlite3_busy_timeout(opened, kWaitMs);
    if (!Execute(opened, kMode) || !Execute(opened, tables)) {
        throw DatabaseError("cannot use " + file + ": " + sqlite3_errmsg(opened));
    }
}

Database::Statement::Statement(const Database& database, const char* text)
    : _database(database._database.get()), _statement(nullptr, sqlite3_finalize) {
    sqlite3_stmt* prepared = nullptr;
    Check(sqlite3_prepare_v2(_database, text, -1, &prepared, nullptr));
    _statement.reset(prepared);
}

void Database::Statement::Check(int result) const {
    if (result != SQLITE_OK) {
        throw DatabaseError(std::string(sqlite3_db_filename(_database, "main")) + ": " +
                            sqlite3_errmsg(_database));
    }
}

Database::Statement& Database::Statement::Bind(int64_t value) {
    Check(sqlite3_bind_int64(_statement.get(), ++_bound, value));
    return *this;
}

Database::Statement& Database::Statement::Bind(const std::string& text) {
    Check(sqlite3_bind_text64(_statement.get(), ++_bound, text.c_str(), text.size(),
                              SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
}

Database::Statement& Database::Statement::BindBytes(const std::string& bytes) {
    Check(sqlite3_bind_blob64(_statement.get(), ++_bound, bytes.data(), bytes.size(),
                              SQLITE_TRANSIENT));
    return *this;
}

bool Database::Statement::Next() {
    const int result = sqlite3_step(_statement.get());
    if (result == SQLITE_ROW) {
        return true;
    }
    Check(result == SQLITE_DONE ? SQLITE_OK : result);
    return false;
}

int64_t Database::Statement::Number(int column) const {
    return sqlite3_column_int64(_statement.get(), column);
}

std::string Database::Statement::Text(int column) const {
    const auto* const text =
        reinterpret_cast<const char*>(sqlite3_column_text(_statement.get(), column));
    return text == nullptr ? "" : text;
}

std::string Database::Statement::Bytes(int column) const {
    const auto* const bytes =
        static_cast<const char*>(sqlite3_column_blob(_statement.get(), column));
    const auto size = static_cast<size_t>(sqlite3_column_bytes(_statement.get(), column));
    return bytes == nullptr ? "" : std::string(bytes, size);
}

Database::Transaction::Transaction(const Database& database) : _database(database) {
    database.Prepare("BEGIN IMMEDIATE").Next();
}

Database::Transaction::~Transaction() {
    if (_isOpen) {
        sqlite3_exec(_database._database.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void Database::Transaction::Commit() {
    _database.Prepare("COMMIT").Next();
    _isOpen = false;
}

int64_t Database::Changes() const {
    return sqlite3_changes(_database.get());
}

int64_t Database::LastRow() const {
    return sqlite3_last_insert_rowid(_database.get());
}

}  // namespace vellumo::loader
