// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <csignal>

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
        PlayTool({.isHeld = true});
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
        for (const std::string& name : Names("/volume1/docs")) {
            if (Exists(StreamOf("/volume1/docs/" + name, SZK_THUMB_PDF_TYPE))) {
                documents.push_back("/volume1/docs/" + name);
            }
        }
        return documents;
    }

    // A process that is at work: its tool has been called and is held.
    static Worker AtWork(const std::string& command) {
        Worker worker = PoolWorker({command, kDocument});
        EXPECT_TRUE(ToolsAreCalled());
        return worker;
    }
    // Processes that begin meanwhile.
    static std::vector<Worker> Others(const std::string& command) {
        std::vector<Worker> workers;
        for (int i = 0; i < 5; ++i) {
            workers.push_back(PoolWorker({command, kDocument}));
        }
        return workers;
    }
    static void LetToolsEnd() {
        PlayTool({});
        LetToolEnd();
    }
};

}  // namespace

TEST_F(CacheContention, SixProcessesThatWantOnePdfConvertItOnce) {
    Worker first = AtWork("pdf");
    std::vector<Worker> others = Others("pdf");
    for (Worker& other : others) {
        EXPECT_EQ(other.ReadLine(), "waiting");
    }
    LetToolsEnd();
    EXPECT_EQ(first.Wait(), 0);
    ExpectGoodEnds(others);
    EXPECT_THAT(DockerCalls(), SizeIs(1));
    EXPECT_THAT(RowsOf("SELECT * FROM cache"), SizeIs(1));
    EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
    EXPECT_THAT(ScratchFiles(), IsEmpty());
}

TEST_F(CacheContention, SixProcessesThatWantOneThumbnailMakeItOnce) {
    Worker first = AtWork("thumbnail");
    std::vector<Worker> others = Others("thumbnail");
    ExpectGoodEnds(others);
    EXPECT_THAT(DockerCalls(), SizeIs(1)) << "the first one is still at it";
    LetToolsEnd();
    EXPECT_EQ(first.Wait(), 0);
    EXPECT_THAT(DockerCalls(), SizeIs(2)) << "one page cut, one picture";
    EXPECT_TRUE(Exists(StreamOf("/volume1/docs/a.docx", "NAVODOC_THUMB.png")));
    EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
}

TEST_F(CacheContention, WritersReadersAndTheCollectionGetAlong) {
    constexpr const char* kSeconds = "30";
    std::vector<Worker> workers;
    for (const std::string writer : {"a-", "b-", "c-", "d-"}) {
        workers.push_back(PoolWorker({"store", writer, kSeconds}));
        workers.push_back(PoolWorker({"read", writer, kSeconds}));
    }
    ExpectGoodEnds(workers);

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
    Worker holder = PoolWorker({"index"});
    ASSERT_EQ(holder.ReadLine(), "held");
    Worker writer = PoolWorker({"store", "a-", "1"});
    EXPECT_EQ(writer.ReadLine(), "waiting");
    EXPECT_THAT(DocumentsWithAStream(), IsEmpty());
    holder.Signal(SIGKILL);
    EXPECT_EQ(writer.Wait(), 0);
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
    EXPECT_THAT(DocumentsWithAStream(), SizeIs(Ge(1)));
    EXPECT_THAT(RowsOf("SELECT * FROM cache"), SizeIs(DocumentsWithAStream().size()));
}
