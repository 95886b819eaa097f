// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Cache.h"
#include "PlatformDouble.h"
#include "vellumo/Constants.h"

namespace vellumo::test {
namespace {

using NAVO::VELLUMO::BaseDB;
using NAVO::VELLUMO::Row;

void OpenIndex(BaseDB& index) {
    index.path = NAVO::VELLUMO::SZF_CACHE_DB_PATH;
    ASSERT_TRUE(index.Open());
}

}  // namespace

CacheTest::CacheTest() {
    PlatformDouble::Get().Reset();
    unlink(NAVO::VELLUMO::SZF_CACHE_DB_PATH);
}

CacheTest::~CacheTest() {
    PlatformDouble::Get().Reset();
}

std::vector<Row> CacheTest::Rows(const std::string& query) {
    BaseDB index;
    OpenIndex(index);
    std::vector<Row> rows;
    EXPECT_TRUE(index.QueryResult(query, rows)) << query;
    return rows;
}

std::vector<std::string> CacheTest::Column(const std::string& query, const std::string& name) {
    std::vector<std::string> values;
    for (Row& row : Rows(query)) {
        values.push_back(row[name]);
    }
    return values;
}

void CacheTest::Change(const std::string& statement) {
    BaseDB index;
    OpenIndex(index);
    EXPECT_TRUE(index.Exec(statement)) << statement;
}

void CacheTest::SetModified(const std::string& file, time_t seconds) {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0) << file;
}

}  // namespace vellumo::test
