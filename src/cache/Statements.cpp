// SPDX-License-Identifier: Apache-2.0
#include "cache/Statements.h"

#include <sqlite3.h>

#include <memory>

namespace NAVO::VELLUMO::cache {
namespace {

// `format` is that of sqlite3_mprintf: %q stands for a text with its single quotes doubled.
template <typename... Values>
std::string Compose(const char* format, Values... values) {
    const std::unique_ptr<char, decltype(&sqlite3_free)> text(sqlite3_mprintf(format, values...),
                                                              &sqlite3_free);
    return text ? text.get() : "";
}

}  // namespace

const char* const kSchema =
    "CREATE TABLE IF NOT EXISTS cache_target (path TEXT PRIMARY KEY,modify INTEGER);"
    "CREATE UNIQUE INDEX IF NOT EXISTS path ON cache_target (path);"
    "CREATE INDEX IF NOT EXISTS modify ON cache_target (modify);"
    "CREATE TABLE IF NOT EXISTS cache (stream TEXT,size INTEGER,access INTEGER,target TEXT,"
    "FOREIGN KEY(target) REFERENCES cache_target(path));"
    "CREATE INDEX IF NOT EXISTS stream ON cache (stream);"
    "CREATE INDEX IF NOT EXISTS target ON cache (target);"
    "CREATE INDEX IF NOT EXISTS target_stream_compound ON cache (target, stream);";

const char* const kTotalSize = "SELECT SUM(size) FROM cache";

const char* const kByAccess = "SELECT * FROM cache ORDER BY access ASC";

const char* const kForgetUnreferencedTargets =
    "DELETE FROM cache_target WHERE path NOT IN (SELECT path FROM cache_target t JOIN cache c ON "
    "t.path = c.target)";

std::string RegisterTarget(const std::string& target, long modify) {
    return Compose(
        "INSERT INTO cache_target(path, modify) SELECT '%q', %ld WHERE NOT EXISTS(SELECT * FROM "
        "cache_target WHERE path = '%q')",
        target.c_str(), modify, target.c_str());
}

std::string RegisterStream(const std::string& target, const std::string& stream, long size,
                           long now) {
    return Compose(
        "INSERT INTO cache(target, stream, size) SELECT '%q', '%q', %llu WHERE NOT EXISTS(SELECT * "
        "FROM cache WHERE target = '%q' AND stream = '%q');UPDATE cache SET access = %ld WHERE "
        "target = '%q' AND stream = '%q'",
        target.c_str(), stream.c_str(), static_cast<unsigned long long>(size), target.c_str(),
        stream.c_str(), now, target.c_str(), stream.c_str());
}

std::string Touch(const std::string& target, const std::string& stream, long now) {
    return Compose("UPDATE cache SET access = %ld WHERE target = '%q' AND stream = '%q'", now,
                   target.c_str(), stream.c_str());
}

std::string ForgetStream(const std::string& target, const std::string& stream) {
    return Compose("DELETE FROM cache WHERE target = '%q' AND stream = '%q'", target.c_str(),
                   stream.c_str());
}

std::string ForgetTarget(const std::string& target) {
    return Compose(
        "DELETE FROM cache WHERE target = '%q';DELETE FROM cache_target WHERE path = '%q';",
        target.c_str(), target.c_str());
}

std::string ListStreams(const std::string& target) {
    return Compose("SELECT * FROM cache WHERE target = '%q'", target.c_str());
}

std::string RecordedModification(const std::string& target) {
    return Compose("SELECT modify FROM cache_target WHERE path = '%q'", target.c_str());
}

}  // namespace NAVO::VELLUMO::cache
