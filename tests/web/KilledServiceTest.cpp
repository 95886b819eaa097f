// SPDX-License-Identifier: Apache-2.0
// The whole service is killed while people open documents.
#include <json/reader.h>
#include <unistd.h>

#include <csignal>
#include <set>
#include <sstream>

#include "Process.h"
#include "ServiceTest.h"

using namespace vellumo::test;
using testing::AnyOf;

namespace {

class KilledService : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        if (!IsSkipped()) {
            WriteFile("/usr/navo/etc/navo.conf", "filebrowserxferlog=\"yes\"\n");
            PlayTool({.isHeld = true});  // no conversion ends
        }
    }

    static std::set<std::string> Logged() {
        std::set<std::string> files;
        std::istringstream lines(ReadFile("/var/log/navo/transfer.log"));
        for (std::string line; std::getline(lines, line);) {
            Json::Value entry;
            std::istringstream(line) >> entry;
            files.insert(entry["file"].asString());
        }
        return files;
    }
};

// Kills all processes of the service at once.
void KillAll(pid_t service, const std::vector<pid_t>& children) {
    kill(service, SIGKILL);
    for (const pid_t child : children) {
        kill(child, SIGKILL);
    }
}

TEST_F(KilledService, HasLoggedEveryOpeningThatItHasAnswered) {
    constexpr int kRounds = 8;
    constexpr int kDocuments = 400;
    std::vector<std::string> names;
    for (int i = 0; i < kDocuments; ++i) {
        names.push_back(std::to_string(i) + ".docx");
        Write("/volume1/docs/" + names.back(), 0644);
    }
    Browser ann;
    std::set<std::string> answered;
    auto next = names.begin();
    int interrupted = 0;
    for (int round = 0; round < kRounds && next != names.end(); ++round) {
        const RunningService service;
        ASSERT_TRUE(!ann.cookie.empty() || ann.LogIn("ann").status == 200);
        const auto children = service.Children();
        const ChildProcess killer([&, round] {
            usleep(static_cast<useconds_t>(40'000 + (round * 13'000)));
            KillAll(service.Id(), children);
            return 0;
        });
        for (bool isThere = true; isThere && next != names.end(); ++next) {
            const int status = ann.Post("/api/v1/open/docs/" + *next, "{}").status;
            // 429: too many conversions wait, of a document that was opened.
            EXPECT_THAT(status, AnyOf(0, 202, 429, 503));
            isThere = status != 0;
            interrupted += isThere ? 0 : 1;
            if (status == 202 || status == 429) {
                answered.insert("/docs/" + *next);
            }
        }
    }
    EXPECT_GE(interrupted, kRounds / 2) << "the service was hardly ever killed while it answered";
    EXPECT_GT(answered.size(), static_cast<size_t>(kRounds));
    const std::set<std::string> logged = Logged();
    for (const std::string& file : answered) {
        EXPECT_TRUE(logged.contains(file)) << file;
    }
}

}  // namespace
