// SPDX-License-Identifier: Apache-2.0
#include "jobs/Backlog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

#include "Device.h"
#include "RunningDaemon.h"
#include "loader/cache/MovedProducts.h"
#include "vellumo/CacheManager.h"
#include "vellumo/Constants.h"
#include "vellumo/TaskDB.h"

namespace vellumo::daemon {
namespace {

namespace core = NAVO::VELLUMO;
using test::MakeDocument;

class BacklogTest : public test::DeviceTest {
protected:
    BacklogTest() { _settings.shares = loader::ShareMap(loader::Shares()); }

    // Looks through folders until that has ended.
    void Walk() {
        do {
            _backlog.Look();
        } while (_backlog.IsBusy());
    }
    std::vector<Item> TakeAll() {
        std::vector<Item> items;
        while (auto item = _backlog.Take(Lane::kFound)) {
            items.push_back(std::move(*item));
        }
        return items;
    }
    void BeginScan() { _backlog.LookThroughAll(watch::TreeScan({"/volume1/docs"})); }

    DaemonSettings _settings;
    std::function<void()> _renames = [] {};  // that the daemon has not followed yet
    Backlog _backlog{_settings, [this] { _renames(); }};
};

TEST_F(BacklogTest, ScanThatStillWalksGoesRoundAgain) {
    BeginScan();
    EXPECT_TRUE(_backlog.LookThroughAllAgain());
}

TEST_F(BacklogTest, ScanWhoseDocumentsAreNotDoneYetCannotGoRoundAgain) {
    MakeDocument("a.docx");
    BeginScan();
    Walk();
    ASSERT_NE(_backlog.WholeScan(), nullptr) << "a document of it is open";
    EXPECT_FALSE(_backlog.LookThroughAllAgain()) << "a change after its walk would be lost";
}

TEST_F(BacklogTest, IndexingQueueOfADeadDaemonStaysUntilItIsRead) {
    const Item item{MakeDocument("a.docx"), loader::Products::kBoth, Lane::kNow};
    test::WriteFile(core::SZF_INDEX_QUEUE_WORKING, item.realPath + "\n");
    _settings.looksAfterShares = false;
    _backlog.Look();
    _backlog.Close(item, Outcome::kDone);
    EXPECT_TRUE(test::Exists(core::SZF_INDEX_QUEUE_WORKING));
    unlink(core::SZF_INDEX_QUEUE_WORKING);
}

TEST_F(BacklogTest, TasksThatHaveNoPlaceYetAreTakenLater) {
    constexpr int kTasks = 450;
    core::TaskDB queue;
    ASSERT_TRUE(queue.OpenDB());
    for (int i = 0; i < kTasks; ++i) {
        core::TaskDB::Task task;
        task.path = "/volume1/docs/" + std::to_string(i) + ".docx";
        ASSERT_TRUE(queue.AppendTask(task));
    }
    size_t taken = 0;
    for (int look = 0; look < 60 && taken < kTasks; ++look) {
        _backlog.Look();
        while (auto item = _backlog.Take(Lane::kQueued)) {
            ++taken;
            _backlog.Close(*item, Outcome::kDone);
        }
        usleep(100'000);
    }
    EXPECT_EQ(taken, static_cast<size_t>(kTasks));
}

TEST_F(BacklogTest, DocumentThatIsFoundWhileItIsConvertedIsLookedAtOnceMore) {
    const std::string document = MakeDocument("a.docx");
    BeginScan();
    Walk();
    const std::vector<Item> items = TakeAll();
    ASSERT_EQ(items.size(), 1U);
    _backlog.LookThrough("/volume1/docs");  // it has changed since
    Walk();
    EXPECT_EQ(_backlog.Count(Lane::kFound), 0U) << "two would convert it at once";
    _backlog.Close(items.front(), Outcome::kDone);
    EXPECT_EQ(_backlog.Count(Lane::kFound), 1U);
}

TEST_F(BacklogTest, ScanIsNotDoneBeforeADocumentIsThatIsWantedAgain) {
    MakeDocument("a.docx");
    BeginScan();
    Walk();
    const std::vector<Item> items = TakeAll();
    ASSERT_EQ(items.size(), 1U);
    _backlog.NoteChange(items.front().realPath);
    _backlog.Close(items.front(), Outcome::kDone);
    EXPECT_NE(_backlog.WholeScan(), nullptr);
    const std::vector<Item> again = TakeAll();
    ASSERT_EQ(again.size(), 1U);
    _backlog.Close(again.front(), Outcome::kDone);
    EXPECT_EQ(_backlog.WholeScan(), nullptr);
}

class RemovalTest : public BacklogTest {
protected:
    RemovalTest() {
        for (const char* file : {core::SZF_THUMB_DB_PATH, core::SZF_CACHE_DB_PATH}) {
            unlink(file);
        }
    }
    ~RemovalTest() override { unlink(core::SZF_THUMB_DB_PATH); }

    static void Keep(const std::string& document) {
        test::WriteFile("/device/product", "a PDF");
        core::CacheManager cache(false, 0);
        EXPECT_TRUE(cache.Set("/device/product", document, core::SZK_THUMB_PDF_TYPE, true));
    }

    void WorkOn(const std::string& operation) {
        EXPECT_EQ(test::RunVellumo({"queue", "add", "--op", operation, "--folder", "/docs"}), 0);
        Walk();
    }
};

class RenameTest : public RemovalTest, public testing::WithParamInterface<const char*> {};

TEST_P(RenameTest, SparesWhatIsKeptOfADocumentThatHasJustLeftTheFolder) {
    const std::string document = MakeDocument("a.docx");
    test::MakeDirectory("/volume1/other");
    const std::string renamed = "/volume1/other/a.docx";
    Keep(document);
    ASSERT_EQ(rename(document.c_str(), renamed.c_str()), 0);
    _renames = [&] { EXPECT_TRUE(loader::MoveProducts({{document, renamed}})); };
    WorkOn(GetParam());
    EXPECT_TRUE(test::HasPdf(renamed));
}

INSTANTIATE_TEST_SUITE_P(Removal, RenameTest, testing::Values("reindex", "remove"));

TEST_F(RemovalTest, RemovesWhatIsKeptOfADocumentThatIsGone) {
    const std::string document = MakeDocument("a.docx");
    Keep(document);
    const std::string product = test::StreamOf(document, core::SZK_THUMB_PDF_TYPE);
    unlink(document.c_str());
    WorkOn("reindex");
    EXPECT_FALSE(test::Exists(product));
}

}  // namespace
}  // namespace vellumo::daemon
