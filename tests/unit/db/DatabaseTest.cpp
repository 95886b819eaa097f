// SPDX-License-Identifier: Apache-2.0
#include "DatabaseTest.h"

#include <dlfcn.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstring>
#include <utility>

#include "PlatformDouble.h"
#include "SyslogSink.h"

using NAVO::VELLUMO::BaseDB;
using NAVO::VELLUMO::Row;

namespace vellumo::test {
namespace {

bool tracing = false;
std::vector<std::string> statements;
std::optional<Rows> answer;

int NoteStatement(unsigned int, void*, void*, void* text) {
    if (tracing) {
        statements.emplace_back(static_cast<const char*>(text));
    }
    return 0;
}

int TraceConnection(sqlite3* connection, char**, const void*) {
    return sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, NoteStatement, nullptr);
}

}  // namespace

DatabaseTest::DatabaseTest(std::string file) : _file(std::move(file)) {
    PlatformDouble::Get().Reset();
    for (const char* suffix : {"", "-journal", ".lock"}) {
        unlink((_file + suffix).c_str());
    }
    errno = 0;
}

DatabaseTest::~DatabaseTest() {
    PlatformDouble::Get().Reset();
    sqlite3_reset_auto_extension();
    tracing = false;
    answer.reset();
}

Rows DatabaseTest::Query(const std::string& query) const {
    const bool traced = std::exchange(tracing, false);
    BaseDB database;
    database.path = _file;
    EXPECT_TRUE(database.Open());
    Rows rows;
    EXPECT_TRUE(database.QueryResult(query, rows)) << query;
    tracing = traced;
    return rows;
}

void DatabaseTest::Change(const std::string& changes) const {
    const bool traced = std::exchange(tracing, false);
    BaseDB database;
    database.path = _file;
    EXPECT_TRUE(database.Open());
    EXPECT_TRUE(database.Exec(changes)) << changes;
    tracing = traced;
    errno = 0;
}

void DatabaseTest::BeginTrace() {
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(TraceConnection));
    tracing = true;
    statements.clear();
}

std::vector<std::string> DatabaseTest::Trace() {
    std::erase(statements, "PRAGMA synchronous = EXTRA");
    return std::exchange(statements, {});
}

void DatabaseTest::AnswerNextQuery(const Rows& rows) {
    answer = rows;
}

std::string DatabaseTest::Message(const std::string& source, const std::string& text) {
    return source + ":[0-9]+ \\(" + std::to_string(getpid()) + "\\) " + text;
}

std::string DatabaseTest::Exactly(const std::string& source, const std::string& text) {
    std::string pattern;
    for (const char c : text) {
        pattern += std::string("\\^$.|?*+()[]{}").find(c) == std::string::npos ? "" : "\\";
        pattern += c;
    }
    return Message(source, pattern);
}

std::string DatabaseTest::AfterSqlite(const std::string& source, const std::string& text) {
    return Exactly(source, text) + "( \\[err: [^]]*\\])?";
}

std::vector<std::string> DatabaseTest::DifficultTexts() {
    return {"it's",
            "''",
            "'",
            "'; DROP TABLE tasks; --",
            "x',0,0); DELETE FROM tasks; INSERT INTO tasks (path) VALUES ('y",
            "' OR '1'='1",
            "NULL",
            "\"quoted\"",
            "100%_sure",
            "%s%q%n",
            "back\\slash",
            "new\nline",
            "Grüße/文書/🙂.docx",
            "\xff\xfe no UTF-8",
            std::string(4000, 'p')};
}

}  // namespace vellumo::test

// Stands before SQLite's own, for results that it never gives by itself.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" __attribute__((visibility("default"))) int sqlite3_exec(
    sqlite3* connection, const char* sql, int (*row)(void*, int, char**, char**), void* context,
    char** error) {
    using Exec = int (*)(sqlite3*, const char*, int (*)(void*, int, char**, char**), void*, char**);
    static const auto real = reinterpret_cast<Exec>(dlsym(RTLD_NEXT, "sqlite3_exec"));
    // SQLite itself reads the schema with this function.
    const bool isOfSqlite = std::strstr(sql, "sqlite_master") != nullptr;
    if (row == nullptr || isOfSqlite || !vellumo::test::answer) {
        return real(connection, sql, row, context, error);
    }
    auto rows = std::exchange(vellumo::test::answer, std::nullopt);
    for (Row& values : *rows) {
        for (auto& [name, value] : values) {
            std::string column = name;
            char* names[] = {column.data()};
            char* texts[] = {value.data()};
            row(context, 1, texts, names);
        }
    }
    return SQLITE_OK;
}
