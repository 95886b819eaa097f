// SPDX-License-Identifier: Apache-2.0
#include "loader/cache/Collection.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <optional>

#include "Device.h"
#include "SyslogSink.h"
#include "loader/Problem.h"
#include "loader/cache/Volumes.h"
#include "loader/settings/Settings.h"
#include "vellumo/BaseDB.h"
#include "vellumo/CacheManager.h"
#include "vellumo/Constants.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::loader;
using namespace vellumo::test;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* kWhat = "cannot collect";

std::string DocumentOf(int number) {
    return "/volume1/docs/" + std::to_string(number) + ".docx";
}

class CollectionTest : public DeviceTest {
protected:
    CollectionTest() {
        unlink(SZF_CACHE_DB_PATH);
        unlink(SZF_INDEX_CONFIG);
        _index.path = SZF_CACHE_DB_PATH;
        const CacheManager creates(false, 0);
        _index.Open();
    }

    // Keeps a PDF of the document; used later than those before it.
    void Keep(int number, size_t bytes) {
        WriteFile(DocumentOf(number), "document");
        WriteFile("/volume1/product", std::string(bytes, 'p'));
        CacheManager(false, 0).Set("/volume1/product", DocumentOf(number), SZK_THUMB_PDF_TYPE,
                                   true);
        _index.Exec("UPDATE cache SET access = " + std::to_string(number + 1) +
                    " WHERE target = '" + DocumentOf(number) + "'");
    }
    std::vector<std::string> Column(const std::string& query, const std::string& name) {
        std::vector<Row> rows;
        EXPECT_TRUE(_index.QueryResult(query, rows));
        std::vector<std::string> values;
        for (Row& row : rows) {
            values.push_back(row[name]);
        }
        return values;
    }
    std::vector<std::string> Kept() {
        return Column("SELECT target FROM cache ORDER BY access", "target");
    }
    static std::optional<int64_t> LimitBy(const std::string& setting) {
        WriteFile(SZF_INDEX_CONFIG, R"({"cacheLimit": ")" + setting + R"("})");
        return LimitOf(Settings::Read());
    }
    static bool IsThere(int number) {
        return Exists(StreamOf(DocumentOf(number), SZK_THUMB_PDF_TYPE));
    }

    BaseDB _index;
};

}  // namespace

TEST_F(CollectionTest, RemovesTheLeastRecentlyUsedUntilTheRestIsWithinTheLimit) {
    for (int number = 0; number < 4; ++number) {
        Keep(number, 100);
    }
    const Collected collected = CollectDownTo(250, kWhat);
    EXPECT_EQ(collected.streams, 2U);
    EXPECT_EQ(collected.bytes, 200);
    EXPECT_THAT(Kept(), ElementsAre(DocumentOf(2), DocumentOf(3)));
    EXPECT_THAT(Column("SELECT path FROM cache_target", "path"), SizeIs(2));
    EXPECT_FALSE(IsThere(0) || IsThere(1));
    EXPECT_TRUE(IsThere(2) && IsThere(3));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(CollectionTest, RemovesNothingAtTheLimit) {
    Keep(0, 100);
    Keep(1, 100);
    EXPECT_EQ(CollectDownTo(200, kWhat).streams, 0U);
    EXPECT_TRUE(IsThere(0));
}

TEST_F(CollectionTest, CountsEachProductWithItsOwnSize) {
    Keep(0, 1);
    for (int number = 1; number < 5; ++number) {
        Keep(number, 1000);
    }
    CollectDownTo(3500, kWhat);
    EXPECT_THAT(Kept(), ElementsAre(DocumentOf(2), DocumentOf(3), DocumentOf(4)));
}

TEST_F(CollectionTest, TakesAsManyRoundsAsItNeeds) {
    for (int number = 0; number < 250; ++number) {
        Keep(number, 10);
    }
    EXPECT_EQ(CollectDownTo(20, kWhat).streams, 248U);
    EXPECT_THAT(Kept(), ElementsAre(DocumentOf(248), DocumentOf(249)));
}

TEST_F(CollectionTest, EntriesWhoseDocumentIsGoneNoLongerCount) {
    Keep(0, 100);
    Keep(1, 100);
    unlink(DocumentOf(0).c_str());
    EXPECT_EQ(CollectDownTo(100, kWhat).streams, 1U);
    EXPECT_THAT(Kept(), ElementsAre(DocumentOf(1)));
    EXPECT_TRUE(IsThere(1));
}

TEST_F(CollectionTest, WithoutAnIndexThereIsNothingToDo) {
    unlink(SZF_CACHE_DB_PATH);
    EXPECT_EQ(CollectDownTo(0, kWhat).streams, 0U);
    EXPECT_FALSE(Exists(SZF_CACHE_DB_PATH));
}

TEST_F(CollectionTest, AnIndexThatCannotBeChangedEndsIt) {
    Keep(0, 100);
    _index.Exec("CREATE TRIGGER keeps BEFORE DELETE ON cache BEGIN SELECT RAISE(IGNORE); END");
    EXPECT_THROW(CollectDownTo(0, kWhat), Failure);
}

TEST_F(CollectionTest, AfterTwoHundredPdfs) {
    for (int number = 0; number < 3; ++number) {
        Keep(number, 1000);
    }
    BulkCollection collection(2000);
    for (int stored = 0; stored < 199; ++stored) {
        collection.NoteStored(0);
    }
    EXPECT_THAT(Kept(), SizeIs(3));
    collection.NoteStored(0);
    EXPECT_THAT(Kept(), SizeIs(2));
}

TEST_F(CollectionTest, AfterASixteenthOfTheLimit) {
    for (int number = 0; number < 3; ++number) {
        Keep(number, 1000);
    }
    BulkCollection collection(1600);
    collection.NoteStored(99);
    EXPECT_THAT(Kept(), SizeIs(3));
    collection.NoteStored(1);
    EXPECT_THAT(Kept(), SizeIs(1));
}

TEST_F(CollectionTest, AtTheEndIfAnythingWasStored) {
    Keep(0, 1000);
    Keep(1, 1000);
    BulkCollection collection(1000);
    collection.Finish();
    EXPECT_THAT(Kept(), SizeIs(2));
    collection.NoteStored(1);
    collection.Finish();
    EXPECT_THAT(Kept(), SizeIs(1));
}

TEST_F(CollectionTest, AShareIsOneOfTheVolumesWithProducts) {
    Keep(0, 1);
    struct statvfs space {};
    ASSERT_EQ(statvfs("/volume1", &space), 0);
    const auto all = static_cast<int64_t>(space.f_blocks * space.f_frsize);
    EXPECT_EQ(LimitBy("5%"), all / 100 * 5);
    EXPECT_EQ(LimitBy("123"), 123);
}

TEST_F(CollectionTest, AShareOnAServerWithoutVolumesIsOneOfTheFileSystemForAllOtherDocuments) {
    EXPECT_THAT(FoldersOfProducts(), Contains(AnyOf("/var/lib/navo", "/var/lib")));
}

TEST_F(CollectionTest, ALimitThatCannotBeReadIsNone) {
    EXPECT_EQ(LimitBy("much"), std::nullopt);
    WriteFile(SZF_INDEX_CONFIG, "{");
    EXPECT_EQ(LimitOf(Settings::Read()), std::nullopt);
}

TEST_F(CollectionTest, WithoutALimitRemovesNothing) {
    Keep(0, 1000);
    BulkCollection collection;
    for (int stored = 0; stored < 200; ++stored) {
        collection.NoteStored(1 << 30);
    }
    collection.Finish();
    EXPECT_THAT(Kept(), SizeIs(1));
}

TEST_F(CollectionTest, KeepsToAnotherLimitFromThenOn) {
    Keep(0, 1000);
    Keep(1, 1000);
    BulkCollection collection(1000);
    collection.NoteStored(1);
    collection.SetLimit(2000);
    collection.Finish();
    EXPECT_THAT(Kept(), SizeIs(2));
}
