// SPDX-License-Identifier: Apache-2.0
#include "loader/failures/FailureMemory.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

#include "Device.h"
#include "SyslogSink.h"
#include "loader/cache/KeptProducts.h"
#include "support/Descriptor.h"

namespace vellumo::loader {
namespace {

using namespace vellumo::test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kFile = "/device/failures.db";
constexpr const char* kDocument = "/volume1/docs/a.odt";
constexpr int64_t kNow = 1'800'000'000;
constexpr int64_t kMinute = 60;
constexpr int64_t kHour = 60 * kMinute;

constexpr const char* kPdf = kPdfProduct;
constexpr const char* kThumbnail = kThumbnailProduct;

Problem ToolFailed(const std::vector<std::string>& words = {"cannot load it"}) {
    return {Reason::kToolFailed, "cannot convert /docs/a.odt", "the tool made no usable product",
            "", words};
}
Problem TimeLimit() {
    return {Reason::kTimeLimit, "cannot convert /docs/a.odt", "the tool reached its limit", ""};
}
Problem WorkerDied() {
    return {Reason::kWorkerDied, "cannot convert /docs/a.odt", "its worker process died", ""};
}

class Memory : public DeviceTest {
protected:
    Memory() {
        unlink(kFile);
        WriteFile(kDocument, "the document");
    }
    ~Memory() override { unlink(kFile); }

    static Document At(const std::string& realPath) {
        Document document{};
        document.sharePath = "/docs" + realPath.substr(std::string("/volume1/docs").size());
        document.realPath = realPath;
        return document;
    }
    FailureMemory TheMemory() {
        return FailureMemory(kFile, [this] { return _tools; });
    }
    void Fail(const Problem& problem, const char* product = kPdf, int64_t now = kNow,
              const std::string& path = kDocument) {
        TheMemory().NoteFailure(At(path), IdentityOf(path).value(), product, problem, now);
    }
    void Succeed(const char* product = kPdf) {
        TheMemory().NoteSuccess(At(kDocument), IdentityOf(kDocument).value(), product);
    }

    // Why the document must not be tried; "" when it may. Both ways of asking have to agree.
    std::string Obstacle(int64_t now = kNow, const char* product = kPdf,
                         const std::string& path = kDocument) {
        const auto asked = TheMemory().Obstacle(At(path), product, now);
        const auto known = TheMemory().Read().Obstacle(At(path), product, now, Marks::kCount);
        EXPECT_EQ(asked ? asked->why : "", known ? known->why : "");
        return asked ? asked->why : "";
    }
    bool MayBeTried(int64_t now = kNow, const char* product = kPdf,
                    const std::string& path = kDocument) {
        return Obstacle(now, product, path).empty();
    }

    std::string _tools = "image sha256:1";
};

TEST_F(Memory, KnowsNothingAtFirstAndCreatesNoFileByAsking) {
    EXPECT_TRUE(MayBeTried());
    Succeed();
    EXPECT_THAT(TheMemory().List("", 0), IsEmpty());
    EXPECT_FALSE(Exists(kFile));
}

TEST_F(Memory, TriesNoDocumentAgainThatTheToolCannotConvert) {
    Fail(ToolFailed());
    EXPECT_THAT(Obstacle(kNow + 1000 * kHour),
                testing::AllOf(HasSubstr("an earlier attempt failed"),
                               HasSubstr("the tool made no usable product"),
                               HasSubstr("not tried again by itself")));
}

TEST_F(Memory, RemembersReasonWordsAndTimes) {
    Fail(ToolFailed({"first line", "second line"}), kPdf, kNow);
    Fail(ToolFailed({"third line"}), kPdf, kNow + 5);
    const auto failures = TheMemory().Of(kDocument);
    ASSERT_THAT(failures, SizeIs(1));
    const RememberedFailure& failure = failures.front();
    EXPECT_EQ(failure.product, "pdf");
    EXPECT_EQ(failure.path, kDocument);
    EXPECT_EQ(failure.reason, "tool-failed");
    EXPECT_EQ(failure.said, "third line");
    EXPECT_EQ(failure.tools, _tools);
    EXPECT_EQ(failure.attempts, 2);
    EXPECT_EQ(failure.deaths, 0);
    EXPECT_EQ(failure.first, kNow);
    EXPECT_EQ(failure.last, kNow + 5);
    EXPECT_EQ(failure.next, 0);
}

TEST_F(Memory, BoundsWhatAToolMaySay) {
    Fail(ToolFailed({std::string(100'000, 'x')}));
    EXPECT_EQ(TheMemory().Of(kDocument).front().said.size(), 2048U);
}

TEST_F(Memory, TriesAgainTenMinutesAfterATimeLimitThenTwoHoursLaterThenNever) {
    Fail(TimeLimit());
    EXPECT_THAT(Obstacle(kNow + 10 * kMinute - 1), HasSubstr("tried again after 2027-01-15T08:10"));
    EXPECT_TRUE(MayBeTried(kNow + 10 * kMinute));
    Fail(TimeLimit(), kPdf, kNow + kHour);
    EXPECT_FALSE(MayBeTried(kNow + 3 * kHour - 1));
    EXPECT_TRUE(MayBeTried(kNow + 3 * kHour));
    Fail(TimeLimit(), kPdf, kNow + 4 * kHour);
    EXPECT_FALSE(MayBeTried(kNow + 1000 * kHour));
}

TEST_F(Memory, TriesAgainAfterTheToolWasKilled) {
    for (const char* words :
         {"sh: line 3: 17 Killed  soffice.bin", "vellumo-engine: signal 9 ended the command",
          "vellumo-tool: signal 11 ended the tool"}) {
        unlink(kFile);
        Fail(ToolFailed({words}));
        EXPECT_FALSE(MayBeTried(kNow + kMinute)) << words;
        EXPECT_TRUE(MayBeTried(kNow + 10 * kMinute)) << words;
    }
}

TEST_F(Memory, PutsADocumentAsideOfWhichTwoWorkersHaveDied) {
    Fail(WorkerDied());
    EXPECT_TRUE(MayBeTried(kNow + 10 * kMinute));
    Fail(WorkerDied(), kPdf, kNow + 10 * kMinute);
    EXPECT_THAT(Obstacle(kNow + 1000 * kHour), HasSubstr("2 worker processes have died of it"));
    EXPECT_EQ(TheMemory().Of(kDocument).front().deaths, 2);
}

TEST_F(Memory, CountsTheDeathsOfADocumentWhateverWasMade) {
    Fail(WorkerDied(), kPdf);
    Fail(WorkerDied(), kThumbnail);
    for (const char* product : {kPdf, kThumbnail}) {
        EXPECT_FALSE(MayBeTried(kNow + 1000 * kHour, product));
    }
    for (const RememberedFailure& failure : TheMemory().Of(kDocument)) {
        EXPECT_EQ(failure.next, 0) << failure.product;
    }
}

TEST_F(Memory, RefusesEveryProductOfADocumentThatIsPutAside) {
    Fail(WorkerDied());
    Fail(WorkerDied());
    EXPECT_FALSE(MayBeTried(kNow + 1000 * kHour, kThumbnail));
}

TEST_F(Memory, KeepsProductsApart) {
    Fail(ToolFailed());
    EXPECT_FALSE(MayBeTried());
    EXPECT_TRUE(MayBeTried(kNow, kThumbnail));
}

TEST_F(Memory, RemembersNothingOfProductsThatAreNotKept) {
    Fail(ToolFailed(), nullptr);
    EXPECT_FALSE(Exists(kFile));
    Fail(ToolFailed());
    EXPECT_TRUE(MayBeTried(kNow, nullptr));
}

TEST_F(Memory, RemembersNoCircumstances) {
    for (const Reason reason :
         {Reason::kNoRights, Reason::kNoContainer, Reason::kNoEngine, Reason::kNotPrepared,
          Reason::kInterrupted, Reason::kLeftQueued, Reason::kAbandoned, Reason::kNowhereToKeep,
          Reason::kNotKept, Reason::kNoProcess, Reason::kUnknownResult, Reason::kEngineFailed}) {
        Fail({reason, "cannot convert it", "a reason", ""});
    }
    EXPECT_FALSE(Exists(kFile));
}

// The engine answers, and the words may be the document's.
TEST_F(Memory, TriesAgainLaterAfterWordsOfAnEngineThatAnswers) {
    for (const char* words :
         {"Cannot connect to the Docker daemon at unix:///var/run/docker.sock.",
          "ValueError: Empty file: Error response from daemon: container 17 is not running",
          "vellumo-engine: bubblewrap is missing; install the package bubblewrap"}) {
        EXPECT_EQ(KindOf(ToolFailed({words})), FailureKind::kPassing) << words;
    }
}

TEST_F(Memory, RemembersWhatTheEmbeddedEngineRefuses) {
    Fail(ToolFailed({"vellumo-engine: /volume1/docker/@tmp/x.pdf is no PDF"}));
    EXPECT_FALSE(MayBeTried(kNow + 1000 * kHour));
}

TEST_F(Memory, ForgetsAfterASuccess) {
    Fail(ToolFailed());
    Succeed(kThumbnail);
    EXPECT_FALSE(MayBeTried());
    Succeed();
    EXPECT_TRUE(MayBeTried());
    EXPECT_THAT(TheMemory().List("", 0), IsEmpty());
}

TEST_F(Memory, TriesADocumentThatHasChanged) {
    Fail(ToolFailed());
    WriteFile(kDocument, "another content");
    EXPECT_TRUE(MayBeTried());
    Fail(TimeLimit(), kPdf, kNow);
    EXPECT_EQ(TheMemory().List("", 0).size(), 1U) << "one row for each document and product";
    EXPECT_EQ(TheMemory().Of(kDocument).front().attempts, 1);
}

TEST_F(Memory, TriesAnotherFileThatGetsTheName) {
    Fail(ToolFailed());
    struct stat status {};
    ASSERT_EQ(stat(kDocument, &status), 0);
    WriteFile("/volume1/docs/other", "the document");
    const timespec times[2] = {status.st_atim, status.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, "/volume1/docs/other", times, 0), 0);
    ASSERT_EQ(rename("/volume1/docs/other", kDocument), 0);
    EXPECT_TRUE(MayBeTried()) << "same name, size and time, but another file";
}

TEST_F(Memory, KnowsARenamedDocument) {
    if (!IdentityOf(kDocument)->IsUnique()) {
        GTEST_SKIP() << "skipped: this file system knows no time of birth";
    }
    Fail(ToolFailed());
    ASSERT_EQ(rename(kDocument, "/volume1/docs/b.odt"), 0);
    EXPECT_FALSE(MayBeTried(kNow, kPdf, "/volume1/docs/b.odt"));
    WriteFile(kDocument, "the document");
    EXPECT_TRUE(MayBeTried());
}

TEST_F(Memory, TriesAgainWhenTheToolsHaveChanged) {
    Fail(WorkerDied());
    Fail(WorkerDied());
    _tools = "image sha256:2";
    EXPECT_TRUE(MayBeTried());
    Fail(TimeLimit());
    const auto failures = TheMemory().Of(kDocument);
    EXPECT_EQ(failures.front().attempts, 1) << "failures of other tools do not count";
    EXPECT_EQ(failures.front().deaths, 0);
    EXPECT_TRUE(MayBeTried(kNow + 10 * kMinute));
}

TEST_F(Memory, DoesNotTakeUnknownToolsForOthers) {
    Fail(ToolFailed());
    _tools.clear();
    EXPECT_FALSE(MayBeTried());
    Fail(ToolFailed());
    EXPECT_EQ(TheMemory().Of(kDocument).front().tools, "image sha256:1");
    _tools = "image sha256:1";
    EXPECT_FALSE(MayBeTried());
}

TEST_F(Memory, DoesNotWaitLongerWhenTheClockIsSetBack) {
    Fail(TimeLimit());
    EXPECT_TRUE(MayBeTried(kNow - 1000 * kHour));
}

TEST_F(Memory, CountsMarksOfOtherPrograms) {
    MakeEADirectory(kDocument);
    WriteFile(KeptProducts(At(kDocument)).MarkPath(), "");
    EXPECT_THAT(Obstacle(kNow, kThumbnail), HasSubstr("an earlier attempt failed"));
    EXPECT_TRUE(MayBeTried(kNow, kPdf));
    EXPECT_FALSE(TheMemory().Obstacle(At(kDocument), kThumbnail, kNow, Marks::kIgnored));
}

TEST_F(Memory, DecidesAloneWhereItKnowsTheDocument) {
    MakeEADirectory(kDocument);
    WriteFile(KeptProducts(At(kDocument)).MarkPath(), "");
    Fail(TimeLimit(), kThumbnail);
    EXPECT_TRUE(MayBeTried(kNow + 10 * kMinute, kThumbnail));
}

TEST_F(Memory, ListsWhatLiesInAFolder) {
    MakeDirectory("/volume1/docs/a.odt-folder");
    MakeDirectory("/volume1/docs/50%_off");
    for (const char* path : {"/volume1/docs/a.odt-folder/b.odt", "/volume1/docs/50%_off/c.odt"}) {
        WriteFile(path, "a document");
        Fail(ToolFailed(), kPdf, kNow, path);
    }
    Fail(ToolFailed(), kPdf, kNow + 1);
    EXPECT_THAT(TheMemory().List("", 0), SizeIs(3));
    EXPECT_THAT(TheMemory().List("/volume1/docs", 2), SizeIs(2));
    EXPECT_EQ(TheMemory().List("/volume1/docs", 1).front().path, kDocument);
    EXPECT_THAT(TheMemory().List("/volume1/docs/50%_off", 0), SizeIs(1));
    EXPECT_THAT(TheMemory().List("/volume1/docs/a.odt", 0), SizeIs(1));
}

TEST_F(Memory, ForgetsOnRequestTogetherWithTheMark) {
    MakeEADirectory(kDocument);
    const std::string mark = KeptProducts(At(kDocument)).MarkPath();
    WriteFile(mark, "");
    Fail(ToolFailed());
    Fail(ToolFailed(), kThumbnail);
    EXPECT_EQ(TheMemory().Forget(kDocument), 2U);
    EXPECT_TRUE(MayBeTried());
    EXPECT_TRUE(MayBeTried(kNow, kThumbnail));
    EXPECT_FALSE(Exists(mark));
    EXPECT_EQ(TheMemory().Forget(kDocument), 0U);
}

TEST_F(Memory, ForgetsDocumentsThatAreGoneOrHaveChanged) {
    for (const char* path : {"/volume1/docs/gone.odt", "/volume1/docs/changed.odt"}) {
        WriteFile(path, "a document");
        Fail(ToolFailed(), kPdf, kNow, path);
    }
    Fail(ToolFailed());
    unlink("/volume1/docs/gone.odt");
    WriteFile("/volume1/docs/changed.odt", "another document");
    EXPECT_EQ(TheMemory().Forget(TheMemory().Gone()), 2U);
    EXPECT_FALSE(MayBeTried());
    EXPECT_EQ(TheMemory().ForgetAll(), 1U);
    EXPECT_TRUE(MayBeTried());
}

TEST_F(Memory, KnowsDocumentsInARenamedFolderByTheirNewPaths) {
    MakeDirectory("/volume1/docs/old");
    for (const char* path : {"/volume1/docs/old/a.odt", "/volume1/docs/older.odt"}) {
        WriteFile(path, "a document");
        Fail(ToolFailed(), kPdf, kNow, path);
    }
    ASSERT_EQ(rename("/volume1/docs/old", "/volume1/docs/new"), 0);
    TheMemory().NoteRenames({{"/volume1/docs/old", "/volume1/docs/new"}});
    EXPECT_TRUE(TheMemory().Gone().empty());
    EXPECT_EQ(TheMemory().List("/volume1/docs/new", 0).size(), 1U);
    EXPECT_EQ(TheMemory().List("/volume1/docs/older.odt", 0).size(), 1U);
}

TEST_F(Memory, IsItsOwnersAloneFromItsFirstMoment) {
    umask(0);
    Fail(ToolFailed());
    umask(022);
    struct stat status {};
    ASSERT_EQ(stat(kFile, &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

// A file that other programs cannot disturb costs nothing else.
class BadMemory : public Memory {
protected:
    // Notes a failure in a file of this name and asks; both have to go on.
    void UseIt(const std::string& file) {
        const FailureMemory memory(file, [] { return "tools"; });
        SyslogSink::Get().Clear();
        const auto identity = IdentityOf(kDocument).value();
        for (int i = 0; i < 3; ++i) {
            memory.NoteFailure(At(kDocument), identity, kPdf, ToolFailed(), kNow);
            memory.NoteSuccess(At(kDocument), identity, kPdf);
            EXPECT_FALSE(memory.Obstacle(At(kDocument), kPdf, kNow));
        }
        EXPECT_THAT(SyslogSink::Get().Texts(),
                    testing::ElementsAre(
                        testing::AllOf(HasSubstr(file), HasSubstr("conversions go on without it"))))
            << "one message";
    }
};

TEST_F(BadMemory, DamagedFileCostsTheMemoryOnly) {
    WriteFile("/device/damaged.db", std::string(5000, 'x'));
    UseIt("/device/damaged.db");
    EXPECT_THROW(FailureMemory("/device/damaged.db").Read(), Failure);
    EXPECT_EQ(ReadFile("/device/damaged.db"), std::string(5000, 'x'));
}

TEST_F(BadMemory, MissingFolderCostsTheMemoryOnly) {
    UseIt("/device/no-such-folder/failures.db");
}

TEST_F(BadMemory, LockedFileDelaysARunByOneSecondAtMost) {
    const std::string file = "/device/locked.db";
    unlink(file.c_str());
    const FailureTable created(file, FailureTable::Purpose::kChange, "");
    sqlite3* holder = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &holder), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    const auto begin = std::chrono::steady_clock::now();
    UseIt(file);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    sqlite3_close(holder);
}

TEST_F(Memory, HoldsNoMoreRowsThanItsLimit) {
    FailureTable table(kFile, FailureTable::Purpose::kChange, "cannot fill the table");
    {
        FailureTable::Change change(table);
        for (int64_t i = 0; i < 2; ++i) {
            RememberedFailure failure;
            failure.product = "pdf";
            failure.path = "/volume1/docs/" + std::to_string(i);
            failure.document = {i + 1, 1, 1, 1};
            failure.last = kNow + i;
            table.Put(failure);
        }
        change.Commit();
    }
    sqlite3* direct = nullptr;
    ASSERT_EQ(sqlite3_open(kFile, &direct), SQLITE_OK);
    const std::string many =
        "WITH RECURSIVE n(i) AS (SELECT 3 UNION ALL SELECT i + 1 FROM n WHERE i < " +
        std::to_string(FailureTable::kMaxRows) +
        ") INSERT INTO failures SELECT 'pdf', '/x/' || i, i, 1, 1, 1, '', '', '', '', 1, 0, 0, "
        "9000000000, 0 FROM n";
    ASSERT_EQ(sqlite3_exec(direct, many.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(direct);
    Fail(ToolFailed(), kPdf, kNow + 100);
    EXPECT_EQ(TheMemory().List("", 0).size(), size_t{FailureTable::kMaxRows});
    EXPECT_THAT(TheMemory().List("/volume1/docs/0", 0), IsEmpty()) << "it failed longest ago";
    EXPECT_THAT(TheMemory().List("/volume1/docs/1", 0), SizeIs(1));
}

TEST_F(Memory, LosesNothingWhenAChangeIsNotFinished) {
    Fail(ToolFailed());
    {
        FailureTable table(kFile, FailureTable::Purpose::kChange, "");
        const FailureTable::Change change(table);
        table.Remove(TheMemory().Of(kDocument).front());
    }
    EXPECT_FALSE(MayBeTried());
}

}  // namespace
}  // namespace vellumo::loader
