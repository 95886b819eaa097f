// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include "Device.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "Worker.h"
#include "vellumo/BaseDB.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using NAVO::VELLUMO::BaseDB;
using NAVO::VELLUMO::Row;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* kDocument = "/volume1/docs/a.docx";

class CacheContention : public DeviceTest {
protected:
    CacheContention() {
        unlink(NAVO::VELLUMO::SZF_CACHE_DB_PATH);
        WriteFile(kDocument, "document");
        PlayTool({.sleepMs = 800});
    }

    static std::vector<Row> RowsOf(const std::string& query) {
        BaseDB index;
        index.path = NAVO::VELLUMO::SZF_CACHE_DB_PATH;
        EXPECT_TRUE(index.Open());
        std::vector<Row> rows;
        EXPECT_TRUE(index.QueryResult(query, rows)) << query;
        return rows;
    }

    // Processes that all begin while the first of them is still at work.
    static void RunAtOnce(const std::string& command, int processes) {
        std::vector<Worker> workers;
        for (int i = 0; i < processes; ++i) {
            workers.push_back(Worker({command, kDocument}));
            usleep(i == 0 ? 300000 : 0);
        }
        for (Worker& worker : workers) {
            EXPECT_EQ(worker.Wait(), 0);
        }
    }
};

}  // namespace

TEST_F(CacheContention, SixProcessesThatWantOnePdfConvertItOnce) {
    RunAtOnce("pdf", 6);
    EXPECT_THAT(DockerCalls(), SizeIs(1));
    EXPECT_THAT(RowsOf("SELECT * FROM cache"), SizeIs(1));
    EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
    EXPECT_THAT(Names(kTargetDir), IsEmpty());
}

TEST_F(CacheContention, SixProcessesThatWantOneThumbnailMakeItOnce) {
    RunAtOnce("thumbnail", 6);
    EXPECT_THAT(DockerCalls(), SizeIs(2)) << "one page cut, one picture";
    EXPECT_TRUE(Exists("/volume1/docs/.navoea/a.docx/NAVODOC_THUMB.png"));
    EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
}

TEST_F(CacheContention, WritersReadersAndTheCollectionGetAlong) {
    constexpr int kWriters = 4;
    constexpr const char* kSeconds = "10";
    std::vector<Worker> workers;
    for (int i = 0; i < kWriters; ++i) {
        workers.push_back(Worker({"store", "w" + std::to_string(i) + "-", kSeconds}));
    }
    for (Worker& worker : workers) {
        EXPECT_EQ(worker.Wait(), 0);
    }
    EXPECT_EQ(RowsOf("PRAGMA integrity_check").at(0)["integrity_check"], "ok");
    // A stream may be collected while it is stored anew, so a file may be missing; a row stands for
    // its stream once all the same, and no statement has failed.
    EXPECT_THAT(
        RowsOf("SELECT target, stream FROM cache GROUP BY target, stream HAVING COUNT(*) > 1"),
        IsEmpty());
    EXPECT_THAT(SyslogSink::Get().Texts(),
                testing::Each(testing::Not(testing::HasSubstr("error:"))));
}
