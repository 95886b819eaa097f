// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <chrono>
#include <csignal>

#include "Device.h"
#include "KilledProgram.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "Worker.h"
#include "vellumo/BaseDB.h"
#include "vellumo/CacheManager.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using NAVO::VELLUMO::BaseDB;
using NAVO::VELLUMO::CacheManager;
using NAVO::VELLUMO::Row;
using NAVO::VELLUMO::SZF_CACHE_DB_PATH;
using NAVO::VELLUMO::SZK_THUMB_PDF_TYPE;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

// A process is killed at each step of its work, every time on a fresh device. The next process does
// the same work at once and leaves nothing of either.
namespace {

constexpr const char* kDocument = "/volume1/docs/a.docx";
constexpr const char* kContent = "the document";

class DeathAtEveryStep : public DeviceTest {
protected:
    static void ExpectNothingLeft() {
        const Json::Value state = State();
        EXPECT_EQ(state["runningFiles"], Parsed("{}"));
        EXPECT_EQ(state["runningQueue"], Parsed("{}"));
        EXPECT_EQ(state["waitingQueue"], Parsed("[{},{},{}]"));
        EXPECT_EQ(state["navo1"]["using"], 0);
        EXPECT_EQ(state["navo2"]["using"], 0);
        EXPECT_THAT(ScratchFiles(), IsEmpty());
        EXPECT_THAT(Names("/var/packages/Vellumo/etc/leases"), ElementsAre("boot"));
        // Only a PDF is in the index of the cache.
        EXPECT_THAT(Names("/var/packages/Vellumo/etc"),
                    testing::IsSubsetOf({"cache.db", "config", "leases"}));
        EXPECT_EQ(ReadFile(kDocument), kContent);
    }

    static void ExpectHealed(const std::string& service, const char* product) {
        const auto begin = std::chrono::steady_clock::now();
        Worker next = PoolWorker({service, kDocument});
        EXPECT_EQ(next.Wait(), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, seconds(10));
        EXPECT_TRUE(Exists(StreamOf(kDocument, product)));
        ExpectNothingLeft();
    }

    // `before`: leaves what the killed process finds. `stride`: 1 for every step, 5 for every
    // fifth.
    static void KillAtEveryStep(
        const std::string& service, const char* product, void (*before)() = [] {}, int stride = 1) {
        int step = 1;
        for (;; step += stride) {
            PrepareFreshDevice();
            WriteFile(kDocument, kContent);
            before();
            const std::string call = KilledAtStep({VELLUMO_POOL_WORKER, service, kDocument}, step);
            if (call.empty()) {
                break;
            }
            SCOPED_TRACE("killed at change " + std::to_string(step) + ", " + call);
            ExpectHealed(service, product);
        }
        RecordProperty("steps", step);
        EXPECT_GT(step, 50) << "changes of a conversion";
    }
};

}  // namespace

TEST_F(DeathAtEveryStep, OfAPdf) {
    KillAtEveryStep("pdf", "NAVODOC_THUMB.pdf");
}

TEST_F(DeathAtEveryStep, OfAPdfThatIsStoredWithoutCollection) {
    KillAtEveryStep("bulk", "NAVODOC_THUMB.pdf");
}

// The first process has died while its tool ran.
TEST_F(DeathAtEveryStep, OfAHealer) {
    const auto before = [] {
        PlayTool({.isHeld = true});
        Worker first = PoolWorker({"pdf", kDocument});
        ASSERT_TRUE(ToolsAreCalled());
        first.Signal(SIGKILL);
        EXPECT_EQ(first.Wait(), -SIGKILL);
        LetToolEnd();
        ASSERT_TRUE(ComesTrue([] { return !Exists("/device/busy-navo1"); }));
        PlayTool({});
        ASSERT_EQ(State()["runningQueue"].size(), 1U);
    };
    KillAtEveryStep("pdf", "NAVODOC_THUMB.pdf", before, 5);
}

// The first process has died in the middle of a save.
TEST_F(DeathAtEveryStep, AfterATornSave) {
    KillAtEveryStep("pdf", "NAVODOC_THUMB.pdf", [] {
        const std::string whole = StateText();
        WriteFile(kStateFile + std::string(".copy"), whole);
        WriteFile(kStateFile, whole.substr(0, whole.size() / 2));
    });
}

TEST_F(DeathAtEveryStep, OfAThumbnail) {
    KillAtEveryStep("thumbnail", "NAVODOC_THUMB.png");
}

namespace {

constexpr int kDocuments = 6;
constexpr int kProductBytes = 100;

std::string DocumentOf(int number) {
    return "/volume1/docs/" + std::to_string(number) + ".docx";
}

std::string ProductOf(int number) {
    return StreamOf(DocumentOf(number), "NAVODOC_THUMB.pdf");
}

// Kept PDFs, the first one used the longest ago.
void KeepPdfs() {
    unlink(SZF_CACHE_DB_PATH);
    CacheManager cache(false, 0);
    BaseDB index;
    index.path = SZF_CACHE_DB_PATH;
    ASSERT_TRUE(cache.opened && index.Open());
    for (int number = 0; number < kDocuments; ++number) {
        const std::string document = DocumentOf(number);
        WriteFile(document, kContent);
        WriteFile("/volume1/product", std::string(kProductBytes, 'p'));
        ASSERT_TRUE(cache.Set("/volume1/product", document, SZK_THUMB_PDF_TYPE, true));
        ASSERT_TRUE(index.Exec("UPDATE cache SET access = " + std::to_string(number + 1) +
                               " WHERE target = '" + document + "'"));
    }
}

std::vector<Row> RowsOf(const std::string& query) {
    BaseDB index;
    index.path = SZF_CACHE_DB_PATH;
    EXPECT_TRUE(index.Open());
    std::vector<Row> rows;
    EXPECT_TRUE(index.QueryResult(query, rows));
    return rows;
}

std::vector<std::string> DocumentsIn(const std::string& query) {
    std::vector<std::string> documents;
    for (Row& row : RowsOf(query)) {
        documents.push_back(row["target"]);
    }
    return documents;
}

// A file without a row would never be removed.
void ExpectNoFileWithoutARow() {
    const auto rows = DocumentsIn("SELECT target FROM cache");
    for (int number = 0; number < kDocuments; ++number) {
        if (Exists(ProductOf(number))) {
            EXPECT_THAT(rows, Contains(DocumentOf(number)));
        }
    }
}

}  // namespace

TEST_F(DeathAtEveryStep, OfACollection) {
    const std::vector<std::string> stay{DocumentOf(4), DocumentOf(5)};
    int step = 1;
    for (;; ++step) {
        PrepareFreshDevice();
        KeepPdfs();
        const std::string call = KilledAtStep({VELLUMO_POOL_WORKER, "collect", "200"}, step);
        if (call.empty()) {
            break;
        }
        SCOPED_TRACE("killed at change " + std::to_string(step) + ", " + call);
        ExpectNoFileWithoutARow();
        Worker next = PoolWorker({"collect", "200"});
        EXPECT_EQ(next.Wait(), 0);
        EXPECT_THAT(DocumentsIn("SELECT target FROM cache ORDER BY access"),
                    ElementsAreArray(stay));
        EXPECT_THAT(RowsOf("SELECT * FROM cache_target"), SizeIs(stay.size()));
        for (int number = 0; number < kDocuments; ++number) {
            EXPECT_EQ(Exists(ProductOf(number)), number >= 4) << number;
            EXPECT_EQ(ReadFile(DocumentOf(number)), kContent);
        }
    }
    RecordProperty("steps", step);
    EXPECT_GT(step, 10) << "changes of a collection";
}
