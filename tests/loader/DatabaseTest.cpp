// SPDX-License-Identifier: Apache-2.0
#include "loader/Database.h"

#include <unistd.h>

#include "Device.h"
#include "Process.h"

using namespace vellumo::test;
using testing::Each;
using vellumo::loader::Database;

namespace {

constexpr const char* kFile = "/device/new.db";
constexpr const char* kTables = "CREATE TABLE IF NOT EXISTS things (id INTEGER PRIMARY KEY);";

class DatabaseTest : public DeviceTest {};

TEST_F(DatabaseTest, IsMadeByManyProcessesAtOnce) {
    for (int round = 0; round < 20; ++round) {
        for (const char* suffix : {"", "-wal", "-shm"}) {
            unlink((std::string(kFile) + suffix).c_str());
        }
        const auto results = RunAtOnce(8, [](int number) {
            const Database database(kFile, kTables);
            Database::Statement(database, "INSERT INTO things VALUES (?)").Bind(number).Next();
            return 0;
        });
        EXPECT_THAT(results, Each(0)) << "in round " << round;
    }
}

}  // namespace
