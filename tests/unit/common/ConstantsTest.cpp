// SPDX-License-Identifier: Apache-2.0
#include "vellumo/Constants.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

using namespace NAVO::VELLUMO;

namespace {

std::vector<std::string> SupportedTypes() {
    std::vector<std::string> types;
    std::istringstream list(SZF_SUPPORT_FILE_TYPES);
    for (std::string type; std::getline(list, type, ',');) {
        types.push_back(type);
    }
    return types;
}

}  // namespace

TEST(Constants, LocationsAreThePackagesOwn) {
    const std::vector<std::pair<const char*, const char*>> locations{
        {SZF_INDEX_QUEUE_WORKING, "/var/packages/Vellumo/target/index/queue_working"},
        {SZF_INDEX_QUEUE_DIR, "/var/packages/Vellumo/target/index/"},
        {SZF_INDEX_QUEUE, "/var/packages/Vellumo/target/index/queue"},
        {SZF_INDEX_CONFIG, "/var/packages/Vellumo/etc/index.json"},
        {SZF_INDEX_DAEMON, "/var/packages/Vellumo/target/daemon/navovellumod"},
        {SZF_ENABLE_INDEX, "/var/packages/Vellumo/etc/enable_index"},
        {SZF_PIDPATH, "/var/run/navovellumod.pid"},
        {SZF_UDC_PATH, "/usr/navo/etc/user.data/vellumo"},
        {SZ_ANONYMOUS_USER, "guest"},
        {SZ_TYPE_VIEW, "View Document"},
        {SZK_THUMB_PDF_TYPE, "NAVODOC_THUMB.pdf"},
        {SZK_THUMB_TYPE, "NAVODOC_THUMB.png"},
        {SZF_COVERT_TARGET_DIR, "/Vellumo/@tmp/target/"},
        {SZF_COVERT_SOURCE_DIR, "/Vellumo/@tmp/source/"},
        {SZF_DOCKER_DIR, "/docker/@tmp"},
        {SZF_THIRD_PARTY_DB_PATH, "/var/packages/Vellumo/etc/third_party_convert.db"},
        {SZF_CACHE_DB_PATH, "/var/packages/Vellumo/etc/cache.db"},
        {SZF_THUMB_DB_PATH, "/var/packages/Vellumo/etc/thumb.db"},
        {SZF_CONFIG_PATH, "/var/packages/Vellumo/etc/config"},
    };
    for (const auto& [actual, expected] : locations) {
        EXPECT_STREQ(actual, expected);
    }
}

TEST(Constants, LimitsAreThePackagesOwn) {
    EXPECT_EQ(LOCK_TIMEOUT_SECS, 5);
    EXPECT_EQ(USLEEP_TIME, 500000);
    EXPECT_EQ(PARALLEL_COUNT, 1);
    EXPECT_EQ(MAX_MEMORY_COUNT, 367001600);
    EXPECT_EQ(MAX_USING_COUNT, 0);
    EXPECT_EQ(HOME_LENGTH, 6);
}

TEST(Constants, IndexDirectoryJoinedWithQueueIsTheQueueFile) {
    EXPECT_EQ(std::string(SZF_INDEX_QUEUE_DIR) + "queue", SZF_INDEX_QUEUE);
    EXPECT_EQ(std::string(SZF_INDEX_QUEUE_DIR) + "queue_working", SZF_INDEX_QUEUE_WORKING);
}

TEST(Constants, ScratchDirectoriesBeginAndEndWithASlash) {
    for (const std::string directory : {SZF_COVERT_SOURCE_DIR, SZF_COVERT_TARGET_DIR}) {
        EXPECT_EQ(directory.front(), '/');
        EXPECT_EQ(directory.back(), '/');
    }
}

TEST(Constants, SupportedTypesAre57Items56Distinct) {
    const std::vector<std::string> types = SupportedTypes();
    EXPECT_EQ(types.size(), 57U);
    EXPECT_EQ(std::set<std::string>(types.begin(), types.end()).size(), 56U);
    EXPECT_THAT(types, testing::Each(testing::Not(testing::IsEmpty())));
    EXPECT_EQ(std::count(types.begin(), types.end(), "sxd"), 2);
    EXPECT_EQ(types.front(), "pdf");
    EXPECT_EQ(types.back(), "mobi");
}
