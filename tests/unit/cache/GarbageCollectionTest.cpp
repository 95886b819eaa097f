// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include "Cache.h"
#include "PlatformDouble.h"
#include "SyslogSink.h"
#include "vellumo/CacheManager.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

class GarbageCollection : public CacheTest {
protected:
    // A document `name` with one cached stream of `size` bytes, last read at `access`.
    static void AddStream(const std::string& name, long size, long access) {
        CacheManager cache(false, 0);
        const std::string document = "/volume1/docs/" + name;
        WriteFile(document, "document");
        WriteFile("/volume1/docs/product", std::string(static_cast<size_t>(size), 'x'));
        ASSERT_TRUE(cache.Set("/volume1/docs/product", document, "s", true));
        Change("UPDATE cache SET access = " + std::to_string(access) + " WHERE target = '" +
               document + "'");
    }
    static std::string StreamOf(const std::string& name) {
        return vellumo::test::StreamOf("/volume1/docs/" + name, "s");
    }
    static std::vector<std::string> Left() {
        return Column("SELECT target FROM cache ORDER BY target", "target");
    }
    static std::vector<std::string> Targets() {
        return Column("SELECT path FROM cache_target ORDER BY path", "path");
    }
    static std::string Plain(const std::string& text) { return "CacheManager:[0-9]+ " + text; }
};

// A directory's permissions, as they were again at the end.
class ModeOf {
public:
    ModeOf(const char* directory, mode_t mode) : _directory(directory) {
        struct stat status {};
        EXPECT_EQ(stat(directory, &status), 0) << directory;
        _before = status.st_mode & 07777U;
        EXPECT_EQ(chmod(directory, mode), 0) << directory;
    }
    ~ModeOf() { chmod(_directory, _before); }
    ModeOf(const ModeOf&) = delete;
    ModeOf& operator=(const ModeOf&) = delete;

private:
    const char* _directory;
    mode_t _before = 0;
};

}  // namespace

TEST_F(GarbageCollection, ExcessIsWhatIsBeyondTheLimit) {
    AddStream("a", 100, 1);
    AddStream("b", 200, 2);
    EXPECT_EQ(CacheManager(false, 250).CalculateGCSize(), 50);
    EXPECT_EQ(CacheManager(false, 300).CalculateGCSize(), 0);
    EXPECT_EQ(CacheManager(false, 301).CalculateGCSize(), 0);
    EXPECT_EQ(CacheManager(false, 0).CalculateGCSize(), 300);
}

TEST_F(GarbageCollection, EmptyCacheHasNoExcess) {
    EXPECT_EQ(CacheManager(false, 1).CalculateGCSize(), 0);
}

TEST_F(GarbageCollection, SumsBeyondFourGigabytes) {
    CacheManager cache(false, 5000000000);
    for (const char* stream : {"a", "b", "c"}) {
        cache.InsertDB("/volume1/docs/x", 1, stream, 3000000000);
    }
    EXPECT_EQ(cache.CalculateGCSize(), 4000000000);
}

TEST_F(GarbageCollection, FailedSumIsLoggedAndNoExcess) {
    CacheManager cache(false, 0);
    Change("DROP TABLE cache");
    EXPECT_EQ(cache.CalculateGCSize(), 0);
    EXPECT_THAT(SyslogSink::Get().Texts(), Contains(MatchesRegex(Plain("calculate GC size fail"))));
}

TEST_F(GarbageCollection, AtExactlyTheLimitCollectsNothingNotEvenOrphans) {
    AddStream("a", 100, 1);
    CacheManager cache(false, 100);
    cache.InsertTarget("/volume1/docs/orphan", 1);
    cache.GarbageCollect();
    EXPECT_THAT(Left(), ElementsAre("/volume1/docs/a"));
    EXPECT_THAT(Targets(), ElementsAre("/volume1/docs/a", "/volume1/docs/orphan"));
}

TEST_F(GarbageCollection, EveryRemovedStreamCountsAsTheFirst) {
    AddStream("c", 900, 3);
    AddStream("a", 100, 1);
    AddStream("b", 900, 2);
    CacheManager cache(false, 1750);  // an excess of 150
    cache.GarbageCollect();
    EXPECT_THAT(Left(), ElementsAre("/volume1/docs/c"));
    EXPECT_FALSE(Exists(StreamOf("a")));
    EXPECT_FALSE(Exists(StreamOf("b")));
    EXPECT_TRUE(Exists(StreamOf("c")));
}

TEST_F(GarbageCollection, CountedBytesMustExceedTheExcess) {
    AddStream("a", 100, 1);
    AddStream("b", 100, 2);
    AddStream("c", 100, 3);
    CacheManager(false, 200).GarbageCollect();
    EXPECT_THAT(Left(), ElementsAre("/volume1/docs/c")) << "100 is not more than 100";
}

TEST_F(GarbageCollection, FirstStreamOfNoBytesTakesAllWithIt) {
    AddStream("a", 0, 1);
    AddStream("b", 900, 2);
    AddStream("c", 900, 3);
    CacheManager(false, 1799).GarbageCollect();
    EXPECT_THAT(Left(), IsEmpty());
}

TEST_F(GarbageCollection, RowThatCannotBeResolvedIsSkipped) {
    CacheManager cache(false, 500);
    cache.InsertDB("no/path", 1, "s", 100);
    Change("UPDATE cache SET access = 0");
    AddStream("a", 900, 1);
    AddStream("b", 100, 2);
    cache.GarbageCollect();
    EXPECT_THAT(Left(), ElementsAre("no/path"));
    EXPECT_THAT(Targets(), ElementsAre("no/path"));
}

TEST_F(GarbageCollection, DocumentWithoutStreamsIsForgotten) {
    AddStream("a", 100, 1);
    AddStream("b", 100, 2);
    CacheManager(false, 150).GarbageCollect();
    EXPECT_THAT(Targets(), ElementsAre("/volume1/docs/b"));
}

TEST_F(GarbageCollection, FileThatIsGoneAlreadyIsLoggedAndCounted) {
    AddStream("a", 100, 1);
    AddStream("b", 100, 2);
    unlink(StreamOf("a").c_str());
    CacheManager(false, 150).GarbageCollect();
    EXPECT_THAT(Left(), ElementsAre("/volume1/docs/b"));
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(Plain("GC fail " + StreamOf("a")))));
}

TEST_F(GarbageCollection, RunsAfterASetThatCollects) {
    AddStream("a", 900, 1);
    WriteFile("/volume1/docs/b", "document");
    WriteFile("/volume1/docs/product", std::string(100, 'x'));
    CacheManager cache(true, 950);
    EXPECT_TRUE(cache.Set("/volume1/docs/product", "/volume1/docs/b", "s", true));
    EXPECT_THAT(Left(), ElementsAre("/volume1/docs/b"));
}

TEST_F(GarbageCollection, CollectsWithTheCallersOwnRights) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    AddStream("a", 100, 1);
    const ModeOf index("/var/packages/Vellumo/etc", 0777);  // where a journal is made
    CacheManager cache(false, 1);
    ASSERT_TRUE(SetEffectiveUser(65534));
    PlatformDouble::Get().Reset();
    cache.GarbageCollect();
    const std::vector<PlatformCall> switches = PlatformDouble::Get().CallsOf("setresuid");
    EXPECT_EQ(geteuid(), 65534U);
    ASSERT_TRUE(SetEffectiveUser(0));
    EXPECT_THAT(switches, IsEmpty());
    EXPECT_TRUE(Exists(StreamOf("a"))) << "the user may not remove it";
    EXPECT_THAT(Left(), IsEmpty()) << "entries go in any case";
    EXPECT_THAT(SyslogSink::Get().Texts(),
                ElementsAre(MatchesRegex(Plain("GC fail " + StreamOf("a")))));
}
