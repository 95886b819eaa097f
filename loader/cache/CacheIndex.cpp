// SPDX-License-Identifier: Apache-2.0
#include "loader/cache/CacheIndex.h"

#include <sqlite3.h>
#include <unistd.h>

#include <charconv>

#include "loader/Problem.h"
#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;

int64_t Number(const std::string& text, int64_t absent) {
    int64_t number = absent;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

// The WHERE clause for the document at `realPath` and those below it; "" for all. Compares prefixes
// instead of using LIKE, because a path may contain LIKE's wildcards.
std::string Condition(const std::string& realPath) {
    if (realPath.empty()) {
        return "";
    }
    const std::string path = core::BaseDB::EscapeString(realPath, true);
    const std::string below = core::BaseDB::EscapeString(realPath + "/", true);
    return " WHERE target = " + path + " OR substr(target, 1, length(" + below + ")) = " + below;
}

std::string StatementToForget(const IndexedStream& stream) {
    const std::string target = core::BaseDB::EscapeString(stream.target, true);
    const std::string name = core::BaseDB::EscapeString(stream.stream, true);
    return "DELETE FROM cache WHERE target = " + target + " AND stream = " + name +
           ";DELETE FROM cache_target WHERE path = " + target +
           " AND NOT EXISTS(SELECT * FROM cache WHERE target = " + target + ");";
}

}  // namespace

CacheIndex::CacheIndex(std::string what)
    : _what(std::move(what)), _exists(access(core::SZF_CACHE_DB_PATH, F_OK) == 0) {
    _db.path = core::SZF_CACHE_DB_PATH;
    if (_exists && !_db.Open()) {
        Fail();
    }
}

std::vector<IndexedStream> CacheIndex::Streams(const std::string& realPath) {
    std::vector<IndexedStream> streams;
    for (core::Row& row :
         Query("SELECT target, stream, size, access, modify FROM cache LEFT JOIN cache_target ON "
               "path = target" +
               Condition(realPath) + " ORDER BY target, stream")) {
        streams.push_back({row["target"], row["stream"], Number(row["size"], 0),
                           Number(row["access"], 0), Number(row["modify"], -1)});
    }
    return streams;
}

CacheTotals CacheIndex::Totals() {
    CacheTotals totals;
    for (core::Row& row : Query("SELECT COUNT(DISTINCT target) AS documents, COUNT(*) AS streams, "
                                "SUM(size) AS bytes FROM cache")) {
        totals = {Number(row["documents"], 0), Number(row["streams"], 0), Number(row["bytes"], 0)};
    }
    return totals;
}

CacheIndex::Oldest CacheIndex::OldestStreams(size_t most) {
    Oldest oldest;
    for (core::Row& row :
         Query("SELECT target, stream, size, access, (SELECT SUM(size) FROM cache) "
               "AS total FROM cache ORDER BY access LIMIT " +
               std::to_string(most))) {
        oldest.allBytes = Number(row["total"], 0);
        oldest.streams.push_back(
            {row["target"], row["stream"], Number(row["size"], 0), Number(row["access"], 0), -1});
    }
    return oldest;
}

bool CacheIndex::Forget(const IndexedStream& stream) {
    return Forget(std::vector{stream});
}

bool CacheIndex::Forget(const std::vector<IndexedStream>& streams) {
    std::string sql;
    for (const IndexedStream& stream : streams) {
        sql += StatementToForget(stream);
    }
    return _db.ExecTransaction(sql);
}

void CacheIndex::Compact() {
    if (_exists && !_db.Exec("VACUUM")) {
        Fail();
    }
}

std::vector<core::Row> CacheIndex::Query(const std::string& sql) {
    std::vector<core::Row> rows;
    if (_exists && !_db.QueryResult(sql, rows)) {
        Fail();
    }
    return rows;
}

void CacheIndex::Fail() const {
    throw Failure({Reason::kIndexUnreadable, _what,
                   std::string("the index of the cache, ") + core::SZF_CACHE_DB_PATH +
                       ", cannot be read: " + sqlite3_errmsg(_db.db),
                   "Try again in a moment if it is locked. A damaged index may be removed: the "
                   "products themselves are still found."});
}

}  // namespace vellumo::loader
