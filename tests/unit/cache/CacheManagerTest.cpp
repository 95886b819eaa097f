// SPDX-License-Identifier: Apache-2.0
#include "vellumo/CacheManager.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>

#include "Cache.h"
#include "Device.h"
#include "PlatformDouble.h"
#include "SyslogSink.h"
#include "vellumo/Constants.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

constexpr const char* kPdf = "NAVODOC_THUMB.pdf";
constexpr const char* kPng = "NAVODOC_THUMB.png";
const std::string kDocument = "/volume1/docs/it's a.docx";
constexpr const char* kProduct = "/volume1/docs/product";

std::string Streams() {
    return EADirectoryOf(kDocument) + '/';
}

class Cache : public CacheTest {
protected:
    Cache() { WriteDocument(1000); }

    static void WriteDocument(time_t modified) {
        WriteFile(kDocument, "document");
        SetModified(kDocument, modified);
    }
    // Stores `content` as a stream of the document.
    static bool Store(CacheManager& cache, const std::string& stream, const std::string& content,
                      bool move = true) {
        WriteFile(kProduct, content);
        return cache.Set(kProduct, kDocument, stream, move);
    }
    static std::string Content(CacheManager& cache, const std::string& stream) {
        std::ifstream in;
        if (!cache.Get(kDocument, stream, in)) {
            return "(none)";
        }
        return {std::istreambuf_iterator<char>(in), {}};
    }
    // Pages of the index's file that nothing lies in.
    static int FreePages() {
        return std::stoi(Column("PRAGMA freelist_count", "freelist_count").at(0));
    }
    // Leaves hundreds of them behind; how many.
    static int LeaveFreePages() {
        Change(
            "CREATE TABLE big AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n "
            "WHERE i < 20000) SELECT i, hex(randomblob(50)) FROM n");
        Change("DROP TABLE big");
        const int pages = FreePages();
        EXPECT_GT(pages, 100);
        return pages;
    }
    static std::string Plain(const std::string& text) { return "CacheManager:[0-9]+ " + text; }
    static std::string WithPid(const std::string& text) {
        return "CacheManager:[0-9]+ \\([0-9]+\\) " + text;
    }
};

}  // namespace

TEST_F(Cache, TablesAndIndexesAreTheDocumentedOnes) {
    const CacheManager cache(false, 0);
    EXPECT_TRUE(cache.opened);
    EXPECT_THAT(
        Column("SELECT sql FROM sqlite_master WHERE sql IS NOT NULL ORDER BY type, name", "sql"),
        ElementsAre("CREATE INDEX modify ON cache_target (modify)",
                    "CREATE UNIQUE INDEX path ON cache_target (path)",
                    "CREATE INDEX stream ON cache (stream)",
                    "CREATE INDEX target ON cache (target)",
                    "CREATE INDEX target_stream_compound ON cache (target, stream)",
                    "CREATE TABLE cache (stream TEXT,size INTEGER,access INTEGER,target TEXT,"
                    "FOREIGN KEY(target) REFERENCES cache_target(path))",
                    "CREATE TABLE cache_target (path TEXT PRIMARY KEY,modify INTEGER)"));
}

TEST_F(Cache, KeepsWhatIsInAnExistingDatabase) {
    CacheManager first(false, 0);
    ASSERT_TRUE(Store(first, kPdf, "a pdf"));
    CacheManager second(false, 0);
    EXPECT_TRUE(second.opened);
    EXPECT_EQ(Content(second, kPdf), "a pdf");
}

TEST_F(Cache, StoresAStreamOfTheDocumentAndInTheIndex) {
    const time_t before = time(nullptr);
    CacheManager cache(false, 0);
    EXPECT_TRUE(Store(cache, kPdf, "a pdf"));
    EXPECT_EQ(ReadFile(Streams() + kPdf), "a pdf");
    EXPECT_FALSE(Exists(kProduct));
    EXPECT_THAT(Rows("SELECT path, modify FROM cache_target"),
                ElementsAre(Row{{"path", kDocument}, {"modify", "1000"}}));
    EXPECT_THAT(Rows("SELECT stream, size, target FROM cache"),
                ElementsAre(Row{{"stream", kPdf}, {"size", "5"}, {"target", kDocument}}));
    EXPECT_GE(std::stol(Column("SELECT access FROM cache", "access").at(0)), before);
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Cache, CopiesWhenItIsNotToMove) {
    CacheManager cache(false, 0);
    EXPECT_TRUE(Store(cache, kPdf, "a pdf", false));
    EXPECT_EQ(ReadFile(kProduct), "a pdf");
    EXPECT_EQ(Content(cache, kPdf), "a pdf");
}

TEST_F(Cache, SetOfWhatIsNotThereChangesNothing) {
    CacheManager cache(false, 0);
    EXPECT_FALSE(cache.Set("/volume1/docs/missing", kDocument, kPdf, true));
    WriteFile(kProduct, "x");
    EXPECT_FALSE(cache.Set(kProduct, "/volume1/docs/missing.docx", kPdf, true));
    EXPECT_TRUE(Exists(kProduct));
    EXPECT_FALSE(Exists("/volume1/@navoea"));
    EXPECT_THAT(Rows("SELECT * FROM cache"), IsEmpty());
    EXPECT_THAT(Rows("SELECT * FROM cache_target"), IsEmpty());
}

TEST_F(Cache, SetForAChangedDocumentDropsItsOlderStreams) {
    CacheManager cache(false, 0);
    Store(cache, kPdf, "old pdf");
    Store(cache, kPng, "old png");
    WriteDocument(2000);
    EXPECT_TRUE(Store(cache, kPdf, "new pdf"));
    EXPECT_FALSE(Exists(Streams() + kPng));
    EXPECT_EQ(ReadFile(Streams() + kPdf), "new pdf");
    EXPECT_THAT(Column("SELECT modify FROM cache_target", "modify"), ElementsAre("2000"));
    EXPECT_THAT(Column("SELECT stream FROM cache", "stream"), ElementsAre(kPdf));
}

TEST_F(Cache, SetTwiceKeepsOneRowWithItsFirstSizeAndAFreshAccess) {
    CacheManager cache(false, 0);
    Store(cache, kPdf, "12345");
    Change("UPDATE cache SET access = 7");
    EXPECT_TRUE(Store(cache, kPdf, "1234567890"));
    EXPECT_THAT(Column("SELECT size FROM cache", "size"), ElementsAre("5"));
    EXPECT_GT(std::stol(Column("SELECT access FROM cache", "access").at(0)), 7);
    EXPECT_EQ(Content(cache, kPdf), "1234567890");
}

TEST_F(Cache, SetSucceedsThoughTheMoveFailed) {
    CacheManager cache(false, 0);
    PlatformDouble::Get().Always("NAVOFileCopy", -1);
    EXPECT_TRUE(Store(cache, kPdf, "a pdf"));
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(Plain("cache move fail from: " + std::string(kProduct) +
                                               ", to: " + Streams() + kPdf))));
    EXPECT_THAT(Rows("SELECT * FROM cache"), testing::SizeIs(1));
}

TEST_F(Cache, GetOfANeverStoredStreamIsFalseAndMakesNoEntry) {
    CacheManager cache(false, 0);
    std::ifstream in;
    EXPECT_FALSE(cache.Get(kDocument, kPdf, in));
    EXPECT_TRUE(in.fail());
    EXPECT_THAT(Rows("SELECT * FROM cache"), IsEmpty());
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(Cache, GetNotesTheAccess) {
    CacheManager cache(false, 0);
    Store(cache, kPdf, "a pdf");
    Change("UPDATE cache SET access = 7");
    EXPECT_EQ(Content(cache, kPdf), "a pdf");
    EXPECT_GT(std::stol(Column("SELECT access FROM cache", "access").at(0)), 7);
}

TEST_F(Cache, GetServesAFileThatTheIndexDoesNotKnow) {
    CacheManager cache(false, 0);
    MakeEADirectory(kDocument);
    WriteFile(Streams() + kPdf, "put there by hand");
    EXPECT_EQ(Content(cache, kPdf), "put there by hand");
}

TEST_F(Cache, GetOfARowWhoseFileIsGoneIsFalseButNotesTheAccess) {
    CacheManager cache(false, 0);
    Store(cache, kPdf, "a pdf");
    Change("UPDATE cache SET access = 7");
    unlink((Streams() + kPdf).c_str());
    EXPECT_EQ(Content(cache, kPdf), "(none)");
    EXPECT_GT(std::stol(Column("SELECT access FROM cache", "access").at(0)), 7);
}

TEST_F(Cache, GetOfAChangedDocumentDropsItsStreams) {
    CacheManager cache(false, 0);
    Store(cache, kPdf, "a pdf");
    WriteDocument(2000);
    EXPECT_EQ(Content(cache, kPdf), "(none)");
    EXPECT_FALSE(Exists(Streams() + kPdf));
    EXPECT_THAT(Rows("SELECT * FROM cache"), IsEmpty());
    EXPECT_THAT(Rows("SELECT * FROM cache_target"), IsEmpty());
}

TEST_F(Cache, StreamOpenedBeforeItIsDroppedIsReadWhole) {
    CacheManager cache(false, 0);
    Store(cache, kPdf, "a pdf");
    std::ifstream in;
    ASSERT_TRUE(cache.Get(kDocument, kPdf, in));
    cache.CleanCache(kDocument);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "a pdf");
}

TEST_F(Cache, DocumentIsModifiedWhenItsTimeIsAnotherEarlierOrLater) {
    CacheManager cache(false, 0);
    EXPECT_FALSE(cache.IsTargetModified(kDocument)) << "not known to the index";
    Store(cache, kPdf, "a pdf");
    EXPECT_FALSE(cache.IsTargetModified(kDocument));
    for (const time_t modified : {999, 1001}) {
        SetModified(kDocument, modified);
        EXPECT_TRUE(cache.IsTargetModified(kDocument)) << modified;
    }
    unlink(kDocument.c_str());
    EXPECT_FALSE(cache.IsTargetModified(kDocument)) << "not there";
}

TEST_F(Cache, IsReadAndCleanedAsRoot) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    CacheManager cache(false, 0);
    Store(cache, kPdf, "a pdf");
    chmod(Streams().c_str(), 0700);
    chmod("/volume1/docs", 0700);
    ASSERT_TRUE(SetEffectiveUser(65534));
    std::ifstream in;
    EXPECT_TRUE(cache.Get(kDocument, kPdf, in));
    cache.CleanCacheInEADir(kDocument);
    EXPECT_EQ(geteuid(), 65534U);
    ASSERT_TRUE(SetEffectiveUser(0));
    EXPECT_FALSE(Exists(Streams() + kPdf));
}

TEST_F(Cache, WithoutRootNothingIsReadNorCleaned) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    CacheManager cache(false, 0);
    Store(cache, kPdf, "a pdf");
    chmod(Streams().c_str(), 0755);
    ASSERT_TRUE(SetEffectiveUser(65534));
    PlatformDouble::Get().Always("setresuid", -1);
    std::ifstream in;
    EXPECT_FALSE(cache.Get(kDocument, kPdf, in));
    EXPECT_THAT(SyslogSink::Get().Texts(), Contains(MatchesRegex(WithPid("ifrunas failed.*"))));
    cache.CleanCacheInEADir(kDocument);
    EXPECT_THAT(SyslogSink::Get().Texts(), Contains(MatchesRegex(WithPid("ifrunas failed.*"))));
    PlatformDouble::Get().Reset();
    ASSERT_TRUE(SetEffectiveUser(0));
    EXPECT_TRUE(Exists(Streams() + kPdf));
}

TEST_F(Cache, RemoveTakesOneStreamAndItsRow) {
    CacheManager cache(false, 0);
    Store(cache, kPdf, "a pdf");
    Store(cache, kPng, "a png");
    EXPECT_TRUE(cache.Remove(kDocument, kPdf));
    EXPECT_FALSE(Exists(Streams() + kPdf));
    EXPECT_TRUE(Exists(Streams() + kPng));
    EXPECT_THAT(Column("SELECT stream FROM cache", "stream"), ElementsAre(kPng));
}

TEST_F(Cache, RemoveOfWhatIsNotThereIsLoggedAndDone) {
    CacheManager cache(false, 0);
    EXPECT_TRUE(cache.Remove(kDocument, kPdf));
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(Plain("cache remove fail " + Streams() + kPdf))));
    EXPECT_FALSE(cache.Remove("relative", kPdf));
}

TEST_F(Cache, CleanWithoutFilesLogsAndForgetsTheRows) {
    CacheManager cache(false, 0);
    Store(cache, kPdf, "a pdf");
    unlink((Streams() + kPdf).c_str());
    cache.CleanCache(kDocument);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(Plain("cache remove fail " + Streams() + kPdf))));
    EXPECT_THAT(Rows("SELECT * FROM cache_target"), IsEmpty());
}

TEST_F(Cache, StreamPathIsHadOnlyForAResultOfExactlyZero) {
    std::string path = "untouched";
    PlatformDouble::Get().Always("NAVOEAPath", 5);
    EXPECT_FALSE(CacheManager::GetEAPath(kDocument, kPdf, path));
    EXPECT_EQ(path, "untouched");
    PlatformDouble::Get().Reset();
    EXPECT_TRUE(CacheManager::GetEAPath(kDocument, kPdf, path));
    EXPECT_EQ(path, Streams() + kPdf);
}

TEST_F(Cache, DirectoryThatCannotBeMadeFailsSilently) {
    WriteFile("/volume1/@navoea", "a file in the directory's place");
    EXPECT_FALSE(CacheManager::MakeEADir(kDocument));
    EXPECT_FALSE(CacheManager::MakeEADir(""));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
    CacheManager cache(false, 0);
    EXPECT_FALSE(Store(cache, kPdf, "a pdf"));
    EXPECT_TRUE(Exists(kProduct)) << "nothing is lost";
}

TEST_F(Cache, TargetIsRegisteredBeforeItsStreamAndOnlyOnce) {
    CacheManager cache(false, 0);
    EXPECT_TRUE(cache.InsertDB(kDocument, 11, kPdf, 5));
    EXPECT_TRUE(cache.InsertDB(kDocument, 22, kPng, 6));
    EXPECT_THAT(Column("SELECT modify FROM cache_target", "modify"), ElementsAre("11"));
    EXPECT_THAT(Column("SELECT size FROM cache ORDER BY size", "size"), ElementsAre("5", "6"));
}

TEST_F(Cache, WithoutCollectionNeitherCollectsNorCompacts) {
    CacheManager cache(false, 1);
    const int freePages = LeaveFreePages();
    Store(cache, kPdf, std::string(1000, 'x'));
    EXPECT_TRUE(Exists(Streams() + kPdf)) << "far over the limit";
    EXPECT_THAT(Rows("SELECT * FROM cache"), testing::SizeIs(1));
    EXPECT_GT(FreePages(), freePages / 2) << "the entries take a few of them";
}

TEST_F(Cache, WithCollectionCompactsAfterEverySet) {
    CacheManager cache(true, 1 << 30);
    for (const char* stream : {kPdf, kPng}) {
        LeaveFreePages();
        Store(cache, stream, "a stream");
        EXPECT_EQ(FreePages(), 0) << stream;
        EXPECT_EQ(Content(cache, stream), "a stream");
    }
}

TEST_F(Cache, DatabaseThatCannotBeCreatedLeavesFilesWorking) {
    std::filesystem::remove_all("/var/packages/Vellumo/etc");
    errno = 0;
    CacheManager cache(true, 100);
    EXPECT_FALSE(cache.opened);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(WithPid("open db failed( \\[err: .*\\])?"))));
    EXPECT_TRUE(Store(cache, kPdf, "a pdf"));
    EXPECT_EQ(ReadFile(Streams() + kPdf), "a pdf");
    EXPECT_THAT(SyslogSink::Get().Texts(),
                Contains(MatchesRegex(
                    Plain("cache set insert DB fail " + kDocument + ", stream: " + kPdf))));
}

TEST_F(Cache, CorruptDatabaseIsToldAndLeftAsItIs) {
    WriteFile(SZF_CACHE_DB_PATH, std::string(5000, 'x'));
    CacheManager cache(true, 100);
    EXPECT_FALSE(cache.opened);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                Contains(MatchesRegex(WithPid("create db failed( \\[err: .*\\])?"))));
    EXPECT_TRUE(Store(cache, kPdf, "a pdf"));
    EXPECT_EQ(ReadFile(Streams() + kPdf), "a pdf");
    EXPECT_EQ(ReadFile(SZF_CACHE_DB_PATH), std::string(5000, 'x'));
}

TEST_F(Cache, GetOpensNothingButAFileOfItsOwn) {
    CacheManager cache(false, 0);
    MakeEADirectory(kDocument);
    const std::string stream = Streams() + kPdf;
    ASSERT_EQ(symlink(kDocument.c_str(), stream.c_str()), 0);
    EXPECT_EQ(Content(cache, kPdf), "(none)") << "a link";
    unlink(stream.c_str());
    ASSERT_EQ(mkfifo(stream.c_str(), 0600), 0);
    EXPECT_EQ(Content(cache, kPdf), "(none)") << "a pipe, whose writer nobody waits for";
    unlink(stream.c_str());
    ASSERT_EQ(link(kDocument.c_str(), stream.c_str()), 0);
    EXPECT_EQ(Content(cache, kPdf), "(none)") << "a file that has another name too";
}
