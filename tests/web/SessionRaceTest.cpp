// SPDX-License-Identifier: Apache-2.0
// Several workers use one session at the same moment.
#include <unistd.h>

#include "Device.h"
#include "Process.h"
#include "login/Database.h"
#include "login/Sessions.h"

using namespace vellumo::test;
using namespace vellumo::web;

namespace {

class SessionRace : public DeviceTest {};

TEST_F(SessionRace, NoWorkerFailsWhenAllNoteTheUseOfASession) {
    for (const char* file : {"", "-wal", "-shm"}) {
        unlink((std::string("/var/packages/Vellumo/etc/web.db") + file).c_str());
    }
    const std::string token = [] {
        const login::Database database;
        return login::Sessions(database).Begin("ann", 1001, 0);
    }();
    std::vector<ChildProcess> workers;
    for (int i = 0; i < 4; ++i) {
        workers.emplace_back([&token] {
            try {
                const login::Database database;
                const login::Sessions sessions(database);
                constexpr int64_t kMinute = 60;
                for (int64_t now = kMinute; now < 600 * kMinute; now += kMinute) {
                    sessions.Find(token, now);
                }
                return 0;
            } catch (const std::exception& error) {
                return 1;
            }
        });
    }
    for (ChildProcess& worker : workers) {
        EXPECT_EQ(worker.Wait(), 0);
    }
}

}  // namespace
