// SPDX-License-Identifier: Apache-2.0
#include "loader/failures/FailureTable.h"

#include <sqlite3.h>
#include <unistd.h>

#include "loader/Problem.h"

namespace vellumo::loader {
namespace {

constexpr const char* kCreate =
    "CREATE TABLE IF NOT EXISTS failures (product TEXT NOT NULL, path TEXT NOT NULL, inode INTEGER "
    "NOT NULL, birth INTEGER NOT NULL, size INTEGER NOT NULL, modified INTEGER NOT NULL, reason "
    "TEXT NOT NULL, why TEXT NOT NULL, said TEXT NOT NULL, tools TEXT NOT NULL, attempts INTEGER "
    "NOT NULL, deaths INTEGER NOT NULL, first INTEGER NOT NULL, last INTEGER NOT NULL, next "
    "INTEGER NOT NULL);"
    "CREATE INDEX IF NOT EXISTS failures_path ON failures(path);"
    "CREATE INDEX IF NOT EXISTS failures_document ON failures(inode);"
    "CREATE INDEX IF NOT EXISTS failures_last ON failures(last)";

constexpr const char* kSelect =
    "SELECT product, path, inode, birth, size, modified, reason, why, said, tools, attempts, "
    "deaths, first, last, next FROM failures ";

// The rows of this version of the document, ?2 to ?5. Only where the birth is unknown, another file
// can have the same numbers, and the path ?1 counts too.
constexpr const char* kOfDocument =
    "WHERE inode = ?2 AND birth = ?3 AND size = ?4 AND modified = ?5 AND (birth <> 0 OR path = ?1)";

// This document, in whatever version.
constexpr const char* kRemove =
    "DELETE FROM failures WHERE product = ?4 AND (path = ?1 OR (inode = ?2 AND birth = ?3 AND "
    "birth <> 0))";

}  // namespace

// A prepared statement. Throws Failure of its table when SQLite fails.
class FailureTable::Statement {
public:
    Statement(FailureTable& table, const std::string& sql) : _table(table) {
        if (sqlite3_prepare_v2(table._db.db, sql.c_str(), -1, &_statement, nullptr) != SQLITE_OK) {
            table.Fail();
        }
    }
    ~Statement() { sqlite3_finalize(_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // The text is not copied and outlives the statement.
    Statement& Bind(const std::string& text) {
        sqlite3_bind_text(_statement, ++_bound, text.data(), static_cast<int>(text.size()),
                          SQLITE_STATIC);
        return *this;
    }
    Statement& Bind(int64_t number) {
        sqlite3_bind_int64(_statement, ++_bound, number);
        return *this;
    }
    Statement& Bind(const DocumentIdentity& document) {
        return Bind(document.inode)
            .Bind(document.birth)
            .Bind(document.size)
            .Bind(document.modified);
    }

    // Whether there is another row.
    bool Step() {
        const int result = sqlite3_step(_statement);
        if (result != SQLITE_ROW && result != SQLITE_DONE) {
            _table.Fail();
        }
        _column = 0;
        return result == SQLITE_ROW;
    }

    // The next column of the row.
    std::string Text() {
        const void* const text = sqlite3_column_blob(_statement, _column);
        const auto size = static_cast<size_t>(sqlite3_column_bytes(_statement, _column++));
        return text == nullptr ? "" : std::string(static_cast<const char*>(text), size);
    }
    int64_t Number() { return sqlite3_column_int64(_statement, _column++); }

private:
    FailureTable& _table;
    sqlite3_stmt* _statement = nullptr;
    int _bound = 0;
    int _column = 0;
};

FailureTable::Change::Change(FailureTable& table) : _table(table) {
    _table.Run("BEGIN IMMEDIATE");
}

FailureTable::Change::~Change() {
    if (!_committed) {
        sqlite3_exec(_table._db.db, "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void FailureTable::Change::Commit() {
    _table.Run("COMMIT");
    _committed = true;
}

FailureTable::FailureTable(const std::string& file, Purpose purpose, std::string what)
    : _what(std::move(what)),
      _file(file),
      _exists(purpose == Purpose::kChange || access(file.c_str(), F_OK) == 0) {
    _db.path = file;
    if (_exists && !_db.Open()) {
        Fail();
    }
    if (purpose == Purpose::kChange) {
        Run(kCreate);
    } else {
        _exists = _exists && HasTable();
    }
}

// A program that was killed may have left an empty file.
bool FailureTable::HasTable() {
    return Statement(*this, "SELECT 1 FROM sqlite_master WHERE name = 'failures'").Step();
}

void FailureTable::Run(const char* sql) {
    if (sqlite3_exec(_db.db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        Fail();
    }
}

std::vector<RememberedFailure> FailureTable::Read(Statement& query) {
    std::vector<RememberedFailure> failures;
    while (query.Step()) {
        RememberedFailure& failure = failures.emplace_back();
        failure.product = query.Text();
        failure.path = query.Text();
        for (int64_t* number : {&failure.document.inode, &failure.document.birth,
                                &failure.document.size, &failure.document.modified}) {
            *number = query.Number();
        }
        for (std::string* text : {&failure.reason, &failure.why, &failure.said, &failure.tools}) {
            *text = query.Text();
        }
        failure.attempts = static_cast<int>(query.Number());
        failure.deaths = static_cast<int>(query.Number());
        for (int64_t* time : {&failure.first, &failure.last, &failure.next}) {
            *time = query.Number();
        }
    }
    return failures;
}

// Compares prefixes instead of using LIKE, because a path may contain LIKE's wildcards.
std::vector<RememberedFailure> FailureTable::List(const std::string& realPath, int64_t limit) {
    if (!_exists) {
        return {};
    }
    const std::string below = realPath + "/";
    Statement query(*this, std::string(kSelect) +
                               "WHERE ?1 = '' OR path = ?1 OR substr(path, 1, length(?2)) = ?2 "
                               "ORDER BY last DESC, path, product LIMIT ?3");
    query.Bind(realPath).Bind(below).Bind(limit == 0 ? -1 : limit);
    return Read(query);
}

std::vector<RememberedFailure> FailureTable::Due(int64_t now, int64_t limit) {
    if (!_exists) {
        return {};
    }
    Statement query(
        *this, std::string(kSelect) + "WHERE next > 0 AND next <= ?1 ORDER BY next DESC LIMIT ?2");
    query.Bind(now).Bind(limit);
    return Read(query);
}

std::vector<RememberedFailure> FailureTable::Of(const std::string& realPath,
                                                const DocumentIdentity& document) {
    if (!_exists) {
        return {};
    }
    Statement query(*this, std::string(kSelect) + kOfDocument);
    query.Bind(realPath).Bind(document);
    return Read(query);
}

void FailureTable::Rename(const std::string& from, const std::string& to) {
    if (!_exists) {
        return;
    }
    // A range, for which SQLite uses the index: '0' is the character after '/'.
    const std::string below = from + "/";
    const std::string beyond = from + "0";
    Statement update(*this,
                     "UPDATE failures SET path = ?2 || substr(path, length(?1) + 1) "
                     "WHERE path = ?1 OR (path >= ?3 AND path < ?4)");
    update.Bind(from).Bind(to).Bind(below).Bind(beyond);
    update.Step();
}

void FailureTable::Put(const RememberedFailure& failure) {
    Remove(failure);
    Statement insert(*this,
                     "INSERT INTO failures VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    insert.Bind(failure.product).Bind(failure.path).Bind(failure.document);
    insert.Bind(failure.reason).Bind(failure.why).Bind(failure.said).Bind(failure.tools);
    insert.Bind(int64_t{failure.attempts}).Bind(int64_t{failure.deaths});
    insert.Bind(failure.first).Bind(failure.last).Bind(failure.next);
    insert.Step();
    Trim();
}

void FailureTable::Trim() {
    Statement trim(*this,
                   "DELETE FROM failures WHERE rowid IN (SELECT rowid FROM failures ORDER BY last "
                   "LIMIT max(0, (SELECT count(*) FROM failures) - ?))");
    trim.Bind(kMaxRows).Step();
}

void FailureTable::PutAside(const RememberedFailure& failure) {
    Statement update(*this, std::string("UPDATE failures SET next = 0 ") + kOfDocument);
    update.Bind(failure.path).Bind(failure.document).Step();
}

void FailureTable::Remove(const RememberedFailure& failure) {
    if (_exists) {
        Statement remove(*this, kRemove);
        remove.Bind(failure.path).Bind(failure.document.inode).Bind(failure.document.birth);
        remove.Bind(failure.product).Step();
    }
}

void FailureTable::Fail() const {
    throw Failure({Reason::kFailuresUnusable, _what,
                   "the memory of failed conversions, " + _file +
                       ", cannot be used: " + sqlite3_errmsg(_db.db),
                   "Try again in a moment if it is locked. A damaged file may be removed: nothing "
                   "but the memory of failures is lost."});
}

}  // namespace vellumo::loader
