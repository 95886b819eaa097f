// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "StateFile.h"
#include "Tool.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

std::string KeptPdf(const std::string& name) {
    return StreamOf("/volume1/docs/" + name, "NAVODOC_THUMB.pdf");
}

std::string KeptPicture(const std::string& name) {
    return StreamOf("/volume1/docs/" + name, "NAVODOC_THUMB.png");
}

// A device on which three documents have their PDFs, and the first also its thumbnail.
class CacheTest : public ToolTest {
protected:
    CacheTest() {
        for (const char* name : {"a.docx", "b.odt", "c.xlsx"}) {
            MakeDocument(name);
        }
        ExpectStatus(RunTool({"pdf", "-r", "/docs"}), ExitCode::kDone);
        ExpectStatus(RunTool({"thumbnail", "/docs/a.docx"}), ExitCode::kDone);
    }

    // "PRODUCT STATE" of each entry.
    static std::vector<std::string> Listed(const std::vector<std::string>& sharePaths) {
        std::vector<std::string> arguments{"cache", "list"};
        arguments.insert(arguments.end(), sharePaths.begin(), sharePaths.end());
        std::vector<std::string> entries;
        const Json::Value json = RunForJson(arguments);
        for (const Json::Value& entry : json["entries"]) {
            entries.push_back(entry["product"].asString() + " " + entry["state"].asString());
        }
        return entries;
    }
};

}  // namespace

TEST_F(CacheTest, ListsWhatIsKeptOfADocument) {
    EXPECT_THAT(Listed({"/docs/a.docx"}), ElementsAre("pdf fresh", "thumbnail fresh"));
    EXPECT_THAT(Listed({"/docs/b.odt"}), ElementsAre("pdf fresh"));
}

TEST_F(CacheTest, ListsWhatIsKeptOfAFoldersDocuments) {
    MakeDirectory("/volume1/docs/sub");
    MakeDocument("sub/d.odt");
    ExpectStatus(RunTool({"pdf", "-r", "/docs/sub"}), ExitCode::kDone);
    EXPECT_THAT(Listed({"/docs/sub"}), SizeIs(1));
    EXPECT_THAT(Listed({"/docs"}), SizeIs(5));
    EXPECT_THAT(Listed({}), SizeIs(5));
}

TEST_F(CacheTest, ListsNoOtherFolderWhoseNameBeginsAlike) {
    MakeDirectory("/volume1/docs/sub");
    MakeDirectory("/volume1/docs/sub2");
    MakeDocument("sub2/d.odt");
    ExpectStatus(RunTool({"pdf", "-r", "/docs/sub2"}), ExitCode::kDone);
    EXPECT_THAT(Listed({"/docs/sub"}), IsEmpty());
}

TEST_F(CacheTest, TellsWhatIsStaleAndWhatIsMissing) {
    std::filesystem::last_write_time("/volume1/docs/a.docx",
                                     std::filesystem::file_time_type::clock::now());
    std::filesystem::last_write_time(
        "/volume1/docs/b.odt",
        std::filesystem::last_write_time("/volume1/docs/b.odt") - std::chrono::seconds(10));
    std::filesystem::remove(KeptPdf("c.xlsx"));
    EXPECT_THAT(Listed({"/docs/a.docx"}), testing::Contains("thumbnail stale"));
    EXPECT_THAT(Listed({"/docs/b.odt"}), ElementsAre("pdf stale"));
    EXPECT_THAT(Listed({"/docs/c.xlsx"}), ElementsAre("pdf missing"));
}

TEST_F(CacheTest, ShowsSizesAndTheLastUse) {
    const Json::Value entry = RunForJson({"cache", "list", "/docs/b.odt"})["entries"][0];
    EXPECT_EQ(entry["document"], "/volume1/docs/b.odt");
    EXPECT_EQ(entry["size"], 100);
    EXPECT_THAT(entry["access"].asString(), testing::MatchesRegex("20..-..-..T..:..:..Z"));
    EXPECT_THAT(RunTool({"cache", "list"}).out,
                AllOf(HasSubstr("PRODUCT"), HasSubstr("/volume1/docs/b.odt\n")));
}

TEST_F(CacheTest, CountsWhatIsKept) {
    const Json::Value json = RunForJson({"cache", "size"});
    EXPECT_EQ(json["documents"], 3);
    EXPECT_EQ(json["products"], 3);
    EXPECT_EQ(json["bytes"], 300);
    EXPECT_EQ(json["limit"], 1073741824);
    EXPECT_THAT(RunTool({"cache", "size"}).out, HasSubstr("3 PDFs of 3 documents, 300 bytes"));
}

TEST_F(CacheTest, IsEmptyWithoutAnIndexAndMakesNone) {
    std::filesystem::remove(NAVO::VELLUMO::SZF_CACHE_DB_PATH);
    EXPECT_THAT(Listed({}), IsEmpty());
    EXPECT_EQ(RunForJson({"cache", "size"})["bytes"], 0);
    EXPECT_FALSE(Exists(NAVO::VELLUMO::SZF_CACHE_DB_PATH));
}

TEST_F(CacheTest, CleansADocument) {
    EXPECT_THAT(RunTool({"cache", "clean", "/docs/a.docx"}).out,
                HasSubstr("2 products of 1 document removed"));
    EXPECT_FALSE(Exists(KeptPdf("a.docx")));
    EXPECT_FALSE(Exists(KeptPicture("a.docx")));
    EXPECT_THAT(Listed({"/docs"}), SizeIs(2));
    EXPECT_EQ(ReadFile("/volume1/docs/a.docx"), "some document");
}

TEST_F(CacheTest, CleansADocumentThatIsGone) {
    std::filesystem::remove("/volume1/docs/b.odt");
    ExpectStatus(RunTool({"cache", "clean", "/docs/b.odt"}), ExitCode::kDone);
    EXPECT_FALSE(Exists(KeptPdf("b.odt")));
    EXPECT_THAT(Listed({"/docs/b.odt"}), IsEmpty());
}

TEST_F(CacheTest, CleansWholeFolders) {
    ExpectStatus(RunTool({"cache", "remove", "--pdf", "/docs/a.docx"}), ExitCode::kDone);
    EXPECT_THAT(RunTool({"cache", "clean", "-r", "/docs"}).out,
                HasSubstr("3 products of 3 documents removed"))
        << "the thumbnail, which no index lists, is found by its document";
    EXPECT_FALSE(Exists(KeptPicture("a.docx")));
}

TEST_F(CacheTest, RemovesSingleProducts) {
    ExpectStatus(RunTool({"cache", "remove", "--thumbnail", "/docs/a.docx"}), ExitCode::kDone);
    EXPECT_THAT(Listed({"/docs/a.docx"}), ElementsAre("pdf fresh"));
    ExpectStatus(RunTool({"cache", "remove", "--pdf", "/docs/a.docx"}), ExitCode::kDone);
    EXPECT_THAT(Listed({"/docs/a.docx"}), IsEmpty());
}

TEST_F(CacheTest, RemovesTheMarkOfAFailureWithTheThumbnail) {
    PlayTool({.exitStatus = 1, .productSize = -1});
    ExpectStatus(RunTool({"thumbnail", "/docs/b.odt"}), ExitCode::kToolFailed);
    EXPECT_THAT(Listed({"/docs/b.odt"}), ElementsAre("pdf fresh", "failed thumbnail fresh"));
    ExpectStatus(RunTool({"cache", "remove", "--thumbnail", "/docs/b.odt"}), ExitCode::kDone);
    EXPECT_THAT(Listed({"/docs/b.odt"}), ElementsAre("pdf fresh"));
}

TEST_F(CacheTest, RemoveAsksWhatIsMeant) {
    const Outcome outcome = RunTool({"cache", "remove", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kUsage);
    EXPECT_THAT(outcome.err, HasSubstr("--thumbnail"));
    EXPECT_TRUE(Exists(KeptPdf("a.docx")));
}

TEST_F(CacheTest, RemovingNothingIsNoFailureAndMakesNoDirectory) {
    MakeDocument("new.docx");
    EXPECT_THAT(RunTool({"cache", "clean", "/docs/new.docx"}).out, HasSubstr("0 products"));
    EXPECT_FALSE(Exists(EADirectoryOf("/volume1/docs/new.docx")));
}

TEST_F(CacheTest, CollectsDownToALimit) {
    const Json::Value json = RunForJson({"cache", "collect", "--limit", "250"});
    EXPECT_EQ(json["before"]["bytes"], 300);
    EXPECT_EQ(json["after"]["bytes"], 200);
    EXPECT_THAT(RunTool({"cache", "collect"}).out, HasSubstr("0 PDFs removed"));
}

TEST_F(CacheTest, CollectsDownToTheSetting) {
    ExpectStatus(RunTool({"settings", "set", "cacheLimit", "250"}), ExitCode::kDone);
    EXPECT_EQ(RunForJson({"cache", "size"})["limit"], 250);
    EXPECT_EQ(RunForJson({"cache", "collect"})["after"]["bytes"], 200);
}

TEST_F(CacheTest, ConversionsKeepToTheSetting) {
    ExpectStatus(RunTool({"settings", "set", "cacheLimit", "250"}), ExitCode::kDone);
    MakeDocument("d.odt");
    ExpectStatus(RunTool({"pdf", "-r", "/docs"}), ExitCode::kDone);
    EXPECT_EQ(RunForJson({"cache", "size"})["bytes"], 200);
    MakeDocument("e.odt");
    ExpectStatus(RunTool({"pdf", "/docs/e.odt"}), ExitCode::kDone);
    EXPECT_EQ(RunForJson({"cache", "size"})["bytes"], 200);
    EXPECT_TRUE(Exists(KeptPdf("e.odt")));
}

TEST_F(CacheTest, ARunThatWillNotFitIsWarnedOfWithTheSettingAndTheCommand) {
    ExpectStatus(RunTool({"settings", "set", "cacheLimit", "20"}), ExitCode::kDone);
    const Outcome outcome = RunTool({"pdf", "-r", "/docs", "--refresh", "--dry-run"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("3 documents"), HasSubstr("cacheLimit is 20"),
                                   HasSubstr("vellumo settings set cacheLimit 1G")));
    const Json::Value json = RunForJson({"pdf", "-r", "/docs", "--refresh", "--dry-run"});
    EXPECT_THAT(json["warnings"], SizeIs(1));
    EXPECT_EQ(json["exitCode"], 0);
}

TEST_F(CacheTest, ARunThatHasNothingToConvertIsNotWarnedOf) {
    ExpectStatus(RunTool({"settings", "set", "cacheLimit", "20"}), ExitCode::kDone);
    EXPECT_EQ(RunTool({"pdf", "-r", "/docs"}).err, "");
}

TEST_F(CacheTest, ARunThatFitsIsNotWarnedOf) {
    EXPECT_EQ(RunTool({"pdf", "-r", "/docs", "--refresh"}).err, "");
}

TEST_F(CacheTest, AWrongSettingIsAWarning) {
    WriteFile(NAVO::VELLUMO::SZF_INDEX_CONFIG, R"({"cacheLimit": "much"})");
    const Outcome outcome = RunTool({"pdf", "-r", "/docs", "--refresh"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("cacheLimit"), HasSubstr("nothing is removed")));
}

TEST_F(CacheTest, IsNotCollectedWhileItsLimitIsNotKnown) {
    for (const char* settings : {R"({"cacheLimit": "much"})", R"({"cacheLimit": "5%)"}) {
        WriteFile(NAVO::VELLUMO::SZF_INDEX_CONFIG, settings);
        const Outcome outcome = RunTool({"cache", "collect"});
        ExpectStatus(outcome, ExitCode::kSettings);
        EXPECT_THAT(outcome.err, HasSubstr("vellumo cache collect --limit BYTES"));
        EXPECT_TRUE(RunForJson({"cache", "size"})["limit"].isNull());
        EXPECT_EQ(RunForJson({"cache", "collect", "--limit", "300"})["after"]["bytes"], 300);
    }
}

TEST_F(CacheTest, ExplainsADamagedIndex) {
    WriteFile(NAVO::VELLUMO::SZF_CACHE_DB_PATH, std::string(5000, '?'));
    for (const std::vector<std::string>& command : {std::vector<std::string>{"cache", "list"},
                                                    {"cache", "size"},
                                                    {"cache", "clean", "/docs/a.docx"},
                                                    {"cache", "remove", "--pdf", "/docs/a.docx"},
                                                    {"cache", "collect"}}) {
        const Outcome outcome = RunTool(command);
        ExpectStatus(outcome, ExitCode::kDatabase);
        EXPECT_THAT(outcome.err, AllOf(HasSubstr("cache.db"), HasSubstr("may be removed")));
    }
    EXPECT_TRUE(Exists(KeptPdf("a.docx")));
}

TEST_F(CacheTest, ExplainsAnUnknownShare) {
    const Outcome outcome = RunTool({"cache", "list", "/nowhere/a.docx"});
    ExpectStatus(outcome, ExitCode::kBadInput);
    EXPECT_THAT(outcome.err, HasSubstr("there is no share 'nowhere'"));
}
