// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "../cache/Cache.h"
#include "PlatformDouble.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "vellumo/CacheManager.h"
#include "vellumo/Constants.h"
#include "vellumo/Converter.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* kDocument = "/volume1/docs/a.docx";

std::string Cached() {
    return StreamOf(kDocument, "NAVODOC_THUMB.pdf");
}

class CachedPdf : public CacheTest {
protected:
    CachedPdf() { WriteFile(kDocument, "the document"); }

    static int Convert(const std::string& document = kDocument) {
        path::Path source;
        source.SetData("realPath", document, true);
        return converter::ToPDFCache(source);
    }
    static void ExpectNothingLeft() {
        EXPECT_THAT(ScratchFiles(), IsEmpty());
        EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
    }
};

}  // namespace

TEST_F(CachedPdf, IsKeptForTheDocumentWithOneRow) {
    EXPECT_EQ(Convert(), 1000);
    EXPECT_EQ(ReadFile(Cached()), std::string(100, 'p'));
    EXPECT_THAT(Column("SELECT stream FROM cache", "stream"), ElementsAre("NAVODOC_THUMB.pdf"));
    EXPECT_THAT(Column("SELECT path FROM cache_target", "path"), ElementsAre(kDocument));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
    ExpectNothingLeft();
}

TEST_F(CachedPdf, IsMarkedWhileItIsMade) {
    Json::Value marks;
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation == "NLIBCExecv") {
            marks = State()["runningFiles"];
        }
        return std::nullopt;
    });
    EXPECT_EQ(Convert(), 1000);
    EXPECT_EQ(marks, Parsed(R"({"/volume1/docs/a.docx:origin":{}})"));
}

TEST_F(CachedPdf, IsMadeAnewThoughThereIsOne) {
    EXPECT_EQ(Convert(), 1000);
    EXPECT_EQ(Convert(), 1000);
    EXPECT_THAT(DockerCalls(), SizeIs(2));
    EXPECT_THAT(Rows("SELECT * FROM cache"), SizeIs(1));
}

TEST_F(CachedPdf, UnsupportedTypeCachesNothingAndLeavesNoMark) {
    WriteFile("/volume1/docs/a.zip", "zip");
    EXPECT_EQ(Convert("/volume1/docs/a.zip"), 1003);
    EXPECT_THAT(Rows("SELECT * FROM cache"), IsEmpty());
    EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
}

TEST_F(CachedPdf, FailedConversionLeavesNoMark) {
    PlayTool({.exitStatus = 124});
    EXPECT_EQ(Convert(), 1001);
    EXPECT_FALSE(Exists(Cached()));
    ExpectNothingLeft();
}

TEST_F(CachedPdf, WaitsForWhoeverIsMakingItAndConvertsNothing) {
    const std::string without = StateText();
    WriteState(R"({"navo1":{},"runningFiles":{"/volume1/docs/a.docx:origin":{}}})");
    int pauses = 0;
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation != "usleep") {
            return std::nullopt;
        }
        if (++pauses == 2) {
            WriteState(without);  // the other process is done
        }
        return 0;
    });
    EXPECT_EQ(Convert(), 1000);
    ASSERT_EQ(pauses, 2);
    EXPECT_THAT(PlatformDouble::Get().CallsOf("usleep").at(0).arguments, ElementsAre("500000"));
    EXPECT_THAT(DockerCalls(), IsEmpty());
    EXPECT_THAT(Rows("SELECT * FROM cache"), IsEmpty());
}

TEST_F(CachedPdf, BrokenDatabaseKeepsTheConversionsResultAndNothingElse) {
    WriteFile(SZF_CACHE_DB_PATH, std::string(5000, 'x'));
    EXPECT_EQ(Convert(), 1000);
    EXPECT_THAT(SyslogSink::Get().Texts(),
                Contains(HasSubstr("Converter:375 (" + std::to_string(getpid()) +
                                   ") CacheManager's DB is broken")));
    EXPECT_FALSE(Exists(Cached()));
    ExpectNothingLeft();
}

TEST_F(CachedPdf, ThatCannotBeKeptIsLoggedWithItsPlaces) {
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        return call.operation == "NLIBCFileStat" ? std::optional(-1) : std::nullopt;
    });
    EXPECT_EQ(Convert(), 1000);
    EXPECT_THAT(
        SyslogSink::Get().Texts(),
        Contains(testing::ContainsRegex(
            "Converter:379 \\([0-9]+\\) Failed to cache \\(/volume1/docker/@tmp/Vellumo/"
            "@tmp/target/......\\.pdf : /volume1/docs/a.docx, type: NAVODOC_THUMB.pdf\\)")));
    ExpectNothingLeft();
}

TEST_F(CachedPdf, ThatCouldNotBeMovedLeavesNothingInTheScratchDirectories) {
    PlatformDouble::Get().Always("NAVOFileCopy", -1);
    EXPECT_EQ(Convert(), 1000);
    EXPECT_FALSE(Exists(Cached()));
    ExpectNothingLeft();
}

TEST_F(CachedPdf, MarksOfOtherDocumentsStay) {
    WriteState(R"({"navo1":{},"runningFiles":{"/volume1/docs/b.docx:origin":{}}})");
    EXPECT_EQ(Convert(), 1000);
    EXPECT_EQ(State()["runningFiles"], Parsed(R"({"/volume1/docs/b.docx:origin":{}})"));
}

TEST_F(CachedPdf, MarksOfAWrongKindAreReplaced) {
    WriteState(R"({"navo1":{},"runningFiles":["x"]})");
    EXPECT_EQ(Convert(), 1000);
    ExpectNothingLeft();
}

// The same service, which leaves other documents' PDFs alone.
class PdfStoredWithoutCollection : public CachedPdf {
protected:
    static int ConvertWithout(const std::string& document = kDocument) {
        path::Path source;
        source.SetData("realPath", document, true);
        return converter::ToPDFCacheWithoutCollection(source);
    }
    // An entry of more than the limit, used before every other.
    static void AddLargeEntry() {
        CacheManager(false, 0).InsertDB("/volume1/docs/large.docx", 1, SZK_THUMB_PDF_TYPE,
                                        2147483648);
        Change("UPDATE cache SET access = 1");
    }
    static std::vector<std::string> Targets() {
        return Column("SELECT target FROM cache ORDER BY target", "target");
    }
};

TEST_F(PdfStoredWithoutCollection, IsKeptAsByTheOtherService) {
    EXPECT_EQ(ConvertWithout(), 1000);
    EXPECT_EQ(ReadFile(Cached()), std::string(100, 'p'));
    EXPECT_THAT(Targets(), ElementsAre(kDocument));
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
    ExpectNothingLeft();
}

TEST_F(PdfStoredWithoutCollection, RemovesNothingAboveTheLimit) {
    WriteFile("/volume1/docs/large.docx", "document");
    AddLargeEntry();
    EXPECT_EQ(ConvertWithout(), 1000);
    EXPECT_THAT(Targets(), ElementsAre(kDocument, "/volume1/docs/large.docx"));
    EXPECT_EQ(Convert(), 1000);
    EXPECT_THAT(Targets(), ElementsAre(kDocument)) << "the other service collects";
}

TEST_F(PdfStoredWithoutCollection, SharesTheMarkWithTheOtherService) {
    const std::string without = StateText();
    WriteState(R"({"navo1":{},"runningFiles":{"/volume1/docs/a.docx:origin":{}}})");
    PlatformDouble::Get().SetAnswer([&](const PlatformCall& call) -> std::optional<int> {
        if (call.operation != "usleep") {
            return std::nullopt;
        }
        WriteState(without);
        return 0;
    });
    EXPECT_EQ(ConvertWithout(), 1000);
    EXPECT_THAT(DockerCalls(), IsEmpty());
}

TEST_F(PdfStoredWithoutCollection, FailsWithTheSameCodes) {
    PlayTool({.exitStatus = 124});
    EXPECT_EQ(ConvertWithout(), 1001);
    WriteFile("/volume1/docs/a.zip", "zip");
    EXPECT_EQ(ConvertWithout("/volume1/docs/a.zip"), 1003);
    ExpectNothingLeft();
}

// Somebody exchanges the document for another file and back, in the moment of that platform call.
class ExchangedDocument : public CachedPdf {
protected:
    ExchangedDocument() { WriteFile(kSecret, "a document of somebody else"); }

    static void Exchange() {
        ASSERT_EQ(renameat2(AT_FDCWD, kDocument, AT_FDCWD, kSecret, RENAME_EXCHANGE), 0);
    }
    // Whatever is kept, of whichever file.
    static std::vector<std::string> Kept() {
        std::vector<std::string> kept;
        for (const char* document : {kDocument, kSecret}) {
            const std::vector<std::string> names = Names(EADirectoryOf(document));
            kept.insert(kept.end(), names.begin(), names.end());
        }
        return kept;
    }

    static constexpr const char* kSecret = "/volume1/docs/secret.docx";
};

TEST_F(ExchangedDocument, ForTheMomentOfTheLinkIsNotConverted) {
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        if (call.operation != "NLIBCExecl") {
            return std::nullopt;
        }
        Exchange();
        unlink(call.arguments[4].c_str());
        EXPECT_EQ(link(kDocument, call.arguments[4].c_str()), 0);
        Exchange();
        return 0;
    });
    EXPECT_EQ(Convert(), 1003);
    EXPECT_THAT(DockerCalls(), IsEmpty());
    EXPECT_THAT(
        SyslogSink::Get().Texts(),
        testing::Contains(HasSubstr(std::string("another file has the name ") + kDocument)));
    EXPECT_THAT(Kept(), IsEmpty());
    ExpectNothingLeft();
}

TEST_F(ExchangedDocument, BeforeTheLinkIsNotConverted) {
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        if (call.operation == "NLIBCExecl") {
            Exchange();
        }
        return std::nullopt;
    });
    EXPECT_EQ(Convert(), 1003);
    EXPECT_THAT(Kept(), IsEmpty());
    ExpectNothingLeft();
}

TEST_F(ExchangedDocument, WhileTheToolRunsIsConvertedAndNotKept) {
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        if (call.operation == "NLIBCExecv") {
            Exchange();
        }
        return std::nullopt;
    });
    EXPECT_EQ(Convert(), 1000);
    EXPECT_THAT(SyslogSink::Get().Texts(), testing::Contains(HasSubstr("Failed to cache")));
    EXPECT_THAT(Kept(), IsEmpty());
    EXPECT_THAT(Rows("SELECT * FROM cache"), IsEmpty());
    ExpectNothingLeft();
}

TEST_F(ExchangedDocument, ForTheFileThatIsMeantIsNotConverted) {
    path::Path source;
    source.SetData("realPath", kDocument, true);
    source.SetData("EADirectory", EADirectoryOf(kDocument), true);
    Exchange();
    EXPECT_EQ(converter::ToPDFCache(source), 1003);
    EXPECT_EQ(converter::ToThumbnail(source), 1003);
    path::Path product;
    EXPECT_EQ(converter::ToPDF(source, product, nullptr), 1003);
    EXPECT_THAT(DockerCalls(), IsEmpty());
    EXPECT_THAT(Kept(), IsEmpty());
    Exchange();
    EXPECT_EQ(converter::ToPDFCache(source), 1000);
}

TEST_F(ExchangedDocument, GivesItsThumbnailToNobodyElse) {
    PlatformDouble::Get().SetAnswer([](const PlatformCall& call) -> std::optional<int> {
        // The mark of an attempt; the state file is touched too.
        if (call.operation == "NLIBCFileTouch" && call.arguments[0].ends_with(".err.0063")) {
            Exchange();
        }
        return std::nullopt;
    });
    path::Path source;
    source.SetData("realPath", kDocument, true);
    EXPECT_EQ(converter::ToThumbnail(source), 1003);
    EXPECT_THAT(Kept(), testing::Not(testing::Contains("NAVODOC_THUMB.png")));
}

TEST_F(ExchangedDocument, IsNotServedAsTheOtherFile) {
    ASSERT_EQ(Convert(), 1000);
    Exchange();
    CacheManager cache(false, 0);
    std::ifstream in;
    EXPECT_FALSE(cache.Get(kDocument, "NAVODOC_THUMB.pdf", in));
}
