// SPDX-License-Identifier: Apache-2.0
#include "worker/ViewRecord.h"

#include <json/reader.h>
#include <json/value.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <set>
#include <sstream>

#include "Device.h"
#include "Process.h"

using namespace vellumo::test;
using testing::SizeIs;
using vellumo::loader::Manner;

namespace vellumo::web::worker {
namespace {

constexpr const char* kLog = "/var/log/navo/transfer.log";
constexpr const char* kFile = "/device/views.db";
constexpr int64_t kNow = 1'800'000'000;
constexpr int64_t kHalfAnHour = 1800;

class Viewing : public DeviceTest {
protected:
    Viewing() {
        for (const char* end : {"", "-wal", "-shm"}) {
            unlink((std::string(kFile) + end).c_str());
        }
        WriteFile("/volume1/docs/a.docx", std::string(1234, 'x'));
        WriteFile("/usr/navo/etc/navo.conf", "filebrowserxferlog=\"yes\"\n");
        WriteFile("/usr/navo/etc/strings/enu.ini",
                  "[sharing]\ndownload_log_desc=\"viewed by a sharing link: \"\n");
    }

    static View OfAnn(const std::string& path = "/docs/a.docx") {
        return {.who = "a session", .sharePath = path, .user = "ann", .address = "192.0.2.7"};
    }

    static void Note(const View& view, int64_t now, Manner manner = Manner::kAsked) {
        const login::Database database(kFile);
        const auto file =
            loader::OpenedPlace::Open({"/volume1/docs", "a.docx"}, loader::LastLink::kFollowed);
        ViewRecord(database).Note(view, file, now, manner);
    }

    static std::vector<Json::Value> Entries() {
        std::vector<Json::Value> entries;
        std::istringstream lines(ReadFile(kLog));
        for (std::string line; std::getline(lines, line);) {
            std::istringstream(line) >> entries.emplace_back();
        }
        return entries;
    }
};

TEST_F(Viewing, IsLoggedOnceInHalfAnHourByEachSession) {
    Note(OfAnn(), kNow);
    Note(OfAnn(), kNow + kHalfAnHour - 1);
    Note(OfAnn(), kNow + kHalfAnHour, Manner::kFetched);
    ASSERT_THAT(Entries(), SizeIs(1));
    const Json::Value entry = Entries().front();
    EXPECT_EQ(entry["action"], "View Document");
    EXPECT_EQ(entry["user"], "ann");
    EXPECT_EQ(entry["file"], "/docs/a.docx");
    EXPECT_EQ(entry["ip"], "192.0.2.7");
    EXPECT_EQ(entry["size"], 1234);
    Note(OfAnn(), kNow + kHalfAnHour);
    EXPECT_THAT(Entries(), SizeIs(2));
    View other = OfAnn();
    other.who = "another session";
    Note(other, kNow);
    EXPECT_THAT(Entries(), SizeIs(3));
}

TEST_F(Viewing, OfAFetchedDocumentThatNobodyOpenedIsLogged) {
    Note(OfAnn(), kNow, Manner::kFetched);
    EXPECT_THAT(Entries(), SizeIs(1));
}

TEST_F(Viewing, ByAVisitorIsChargedToTheOwnerOfTheLink) {
    View view = OfAnn();
    view.isVisitor = true;
    Note(view, kNow);
    ASSERT_THAT(Entries(), SizeIs(1));
    EXPECT_EQ(Entries().front()["user"], "ann");
    EXPECT_EQ(Entries().front()["file"], " viewed by a sharing link: /docs/a.docx");
}

TEST_F(Viewing, ThatCannotBeLoggedIsLoggedByTheNextOpening) {
    unlink(kLog);
    ASSERT_EQ(mkdir(kLog, 0700), 0);
    Note(OfAnn(), kNow);
    ASSERT_EQ(rmdir(kLog), 0);
    Note(OfAnn(), kNow + 1);
    EXPECT_THAT(Entries(), SizeIs(1));
}

TEST_F(Viewing, IsLoggedOnceBySeveralProcesses) {
    const auto results = RunAtOnce(6, [](int) {
        Note(OfAnn(), kNow);
        return 0;
    });
    EXPECT_THAT(results, testing::Each(0));
    EXPECT_THAT(Entries(), SizeIs(1));
}

TEST_F(Viewing, IsLoggedWhoeverIsKilledAndOnceMoreForAKillAtMost) {
    constexpr int kViews = 400;
    const auto work = [] {
        for (int i = 0; i < kViews; ++i) {
            Note(OfAnn("/docs/" + std::to_string(i)), kNow);
        }
        return 0;
    };
    constexpr int kKills = 10;
    for (int round = 0; round < kKills; ++round) {
        ChildProcess worker(work);
        usleep(static_cast<useconds_t>(20'000 + (round * 7'000)));
        worker.Signal(SIGKILL);
        worker.Wait();
    }
    EXPECT_EQ(work(), 0);
    const auto entries = Entries();
    std::set<std::string> logged;
    for (const Json::Value& entry : entries) {
        logged.insert(entry["file"].asString());
    }
    EXPECT_THAT(logged, SizeIs(kViews));
    EXPECT_LE(entries.size(), size_t{kViews + kKills});
}

}  // namespace
}  // namespace vellumo::web::worker
