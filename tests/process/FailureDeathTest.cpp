// SPDX-License-Identifier: Apache-2.0
#include <sqlite3.h>

#include <filesystem>

#include "Device.h"
#include "KilledProgram.h"
#include "Process.h"

using namespace vellumo::test;

// A program is killed at each step of a conversion that fails: before it knows of the failure,
// while it writes it down, and afterwards.
namespace {

constexpr const char* kFailures = "/var/packages/Vellumo/etc/failures.db";
constexpr int kToolFailed = 6;

std::string Ask(const char* sql) {
    sqlite3* database = nullptr;
    std::string answer = "no answer";
    const auto take = [](void* text, int, char** values, char**) {
        *static_cast<std::string*>(text) = values[0] == nullptr ? "" : values[0];
        return 0;
    };
    if (sqlite3_open(kFailures, &database) == SQLITE_OK) {
        sqlite3_exec(database, sql, take, &answer, nullptr);
    }
    sqlite3_close(database);
    return answer;
}

}  // namespace

class FailureDeath : public DeviceTest {};

TEST_F(FailureDeath, LeavesASoundMemoryAtEveryStep) {
    const std::vector<std::string> command{VELLUMO_TOOL, "pdf", "/docs/a.docx", "-o",
                                           "/device/a.pdf"};
    int step = 1;
    int remembered = 0;
    for (;; ++step) {
        PrepareFreshDevice();
        std::filesystem::remove(kFailures);
        WriteFile("/volume1/docs/a.docx", "the document");
        PlayTool({.exitStatus = 1, .productSize = -1});
        const std::string call = KilledAtStep(command, step);
        if (call.empty()) {
            break;
        }
        SCOPED_TRACE("killed at change " + std::to_string(step) + ", " + call);
        if (Exists(kFailures)) {
            EXPECT_EQ(Ask("PRAGMA integrity_check"), "ok");
        }
        const size_t before = DockerCalls().size();
        EXPECT_EQ(RunProgram(command).status, kToolFailed);
        EXPECT_EQ(Ask("SELECT count(*) FROM failures"), "1");
        EXPECT_EQ(Ask("SELECT attempts FROM failures"), "1")
            << "of the program that was not killed";
        remembered += DockerCalls().size() == before ? 1 : 0;
    }
    EXPECT_GT(step, 10) << "changes of a conversion";
    EXPECT_GT(remembered, 0) << "killed after it had written the failure down";
}
