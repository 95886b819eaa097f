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
using NAVO::VELLUMO::SZK_THUMB_PDF_TYPE;
using testing::AllOf;
using testing::AnyOf;
using testing::Each;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;
using testing::UnorderedElementsAreArray;

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

    static std::vector<std::string> DocumentsWithAStream() {
        std::vector<std::string> documents;
        for (const std::string& name : Names("/volume1/docs/.navoea")) {
            if (Exists("/volume1/docs/.navoea/" + name + "/" + SZK_THUMB_PDF_TYPE)) {
                documents.push_back("/volume1/docs/" + name);
            }
        }
        return documents;
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
    EXPECT_THAT(ScratchFiles(), IsEmpty());
}

TEST_F(CacheContention, SixProcessesThatWantOneThumbnailMakeItOnce) {
    RunAtOnce("thumbnail", 6);
    EXPECT_THAT(DockerCalls(), SizeIs(2)) << "one page cut, one picture";
    EXPECT_TRUE(Exists("/volume1/docs/.navoea/a.docx/NAVODOC_THUMB.png"));
    EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
}

TEST_F(CacheContention, WritersReadersAndTheCollectionGetAlong) {
    constexpr const char* kSeconds = "30";
    std::vector<Worker> workers;
    for (const std::string writer : {"a-", "b-", "c-", "d-"}) {
        workers.push_back(Worker({"store", writer, kSeconds}));
        workers.push_back(Worker({"read", writer, kSeconds}));
    }
    for (Worker& worker : workers) {
        EXPECT_EQ(worker.Wait(), 0);
    }

    // What may fail costs nothing but a collection: the sum of the sizes and the vacuum when the
    // index stays locked for a second, and the removal of a stream that another has collected.
    EXPECT_THAT(SyslogSink::Get().Texts(),
                Each(AnyOf(HasSubstr("error: database is locked"),
                           HasSubstr("calculate GC size fail"), HasSubstr("GC fail "))));
    EXPECT_EQ(RowsOf("PRAGMA integrity_check").at(0)["integrity_check"], "ok");
    std::vector<std::string> indexed;
    for (Row& row : RowsOf("SELECT target FROM cache")) {
        indexed.push_back(row["target"]);
    }
    EXPECT_THAT(indexed, UnorderedElementsAreArray(DocumentsWithAStream()));
    EXPECT_THAT(indexed, SizeIs(AllOf(Ge(1), Le(100)))) << "eighty streams are within the limit";
}

TEST_F(CacheContention, AStoreWaitsForAnotherProcessThatHoldsTheIndex) {
    Worker holder({"index"});
    ASSERT_EQ(holder.ReadLine(), "held");
    Worker writer({"store", "a-", "1"});
    usleep(2500000);
    EXPECT_THAT(DocumentsWithAStream(), IsEmpty());
    holder.Kill(SIGKILL);
    EXPECT_EQ(writer.Wait(), 0);
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
    EXPECT_THAT(RowsOf("SELECT * FROM cache"), SizeIs(DocumentsWithAStream().size()));
}
