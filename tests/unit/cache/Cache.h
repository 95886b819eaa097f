// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_CACHE_H
#define VELLUMO_TESTS_CACHE_H

#include <ctime>
#include <string>
#include <vector>

#include "Device.h"
#include "vellumo/BaseDB.h"

namespace vellumo::test {

// A test of cache.db and what is kept beside documents. Its own connection looks at the database.
class CacheTest : public DeviceTest {
protected:
    CacheTest();
    ~CacheTest() override;

    static std::vector<NAVO::VELLUMO::Row> Rows(const std::string& query);
    static std::vector<std::string> Column(const std::string& query, const std::string& name);
    static void Change(const std::string& statement);
    static void SetModified(const std::string& file, time_t seconds);
};

}  // namespace vellumo::test

#endif
