// SPDX-License-Identifier: Apache-2.0
#include <utime.h>

#include <csignal>
#include <filesystem>

#include "StateFile.h"
#include "Tool.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

std::string KeptPdf() {
    return StreamOf("/volume1/docs/a.docx", "NAVODOC_THUMB.pdf");
}
std::string KeptPicture() {
    return StreamOf("/volume1/docs/a.docx", "NAVODOC_THUMB.png");
}
std::string Mark() {
    return KeptPicture() + ".err.0063";
}

class CachedConversionTest : public ToolTest {
protected:
    CachedConversionTest() { MakeDocument("a.docx"); }

    // Sets the document's time, seconds from now.
    static void Age(const std::string& path, int seconds) {
        const std::time_t time = std::time(nullptr) + seconds;
        const utimbuf times{time, time};
        ASSERT_EQ(utime(path.c_str(), &times), 0);
    }

    // As `vellumo pdf` and `vellumo thumbnail` do it; returns how many tools have run for it.
    static size_t ToolsRunBy(const std::vector<std::string>& arguments) {
        const size_t before = DockerCalls().size();
        ExpectStatus(RunTool(arguments), ExitCode::kDone);
        return DockerCalls().size() - before;
    }
};

class FolderConversionTest : public CachedConversionTest {
protected:
    FolderConversionTest() {
        MakeDirectory("/volume1/docs/sub/deeper");
        for (const char* name : {"b.xlsx", "sub/c.pdf", "sub/deeper/d.odt"}) {
            MakeDocument(name);
        }
    }
};

}  // namespace

TEST_F(CachedConversionTest, KeepsThePdfInTheCache) {
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kDone);
    EXPECT_EQ(ReadFile(KeptPdf()), std::string(100, 'p'));
    EXPECT_EQ(ReadFile("/device/out/a.pdf"), std::string(100, 'p'));
    ExpectScratchEmpty();
}

TEST_F(CachedConversionTest, TakesAFreshPdfFromTheCache) {
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kDone);
    const Outcome second = RunTool({"pdf", "/docs/a.docx", "-o", "second.pdf"});
    ExpectStatus(second, ExitCode::kDone);
    EXPECT_THAT(second.out, HasSubstr("/docs/a.docx -> /device/out/second.pdf (from the cache)"));
    EXPECT_EQ(ReadFile("/device/out/second.pdf"), std::string(100, 'p'));
    EXPECT_THAT(DockerCalls(), SizeIs(1));
    EXPECT_TRUE(Exists(KeptPdf())) << "it is copied, not moved";
}

TEST_F(CachedConversionTest, ReplacesALinkInTheOutputsPlaceAndWritesNothingThroughIt) {
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kDone);
    WriteFile("/device/out/precious", "precious");
    std::filesystem::remove("/device/out/a.pdf");
    std::filesystem::create_symlink("precious", "/device/out/a.pdf");
    const Outcome outcome = RunTool({"pdf", "/docs/a.docx", "--force"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, HasSubstr("(from the cache)"));
    EXPECT_FALSE(std::filesystem::is_symlink("/device/out/a.pdf"));
    EXPECT_EQ(ReadFile("/device/out/a.pdf"), std::string(100, 'p'));
    EXPECT_EQ(ReadFile("/device/out/precious"), "precious");
    EXPECT_EQ(std::filesystem::status("/device/out/a.pdf").permissions() &
                  std::filesystem::perms::owner_all,
              std::filesystem::perms{0600});
}

TEST_F(CachedConversionTest, NeedsNoContainersForWhatIsFresh) {
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kDone);
    WriteState("{}");
    ExpectStatus(RunTool({"pdf", "/docs/a.docx", "--force"}), ExitCode::kDone);
}

TEST_F(CachedConversionTest, ConvertsAChangedDocumentAgain) {
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx"}), 1U);
    Age("/volume1/docs/a.docx", -1000);
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx", "--force"}), 1U);
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx", "--force"}), 0U);
}

TEST_F(CachedConversionTest, TakesNoPdfThatIsOlderThanItsDocumentWhenTheIndexIsLost) {
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx"}), 1U);
    unlink(NAVO::VELLUMO::SZF_CACHE_DB_PATH);
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx", "--force"}), 0U);
    Age(KeptPdf(), -1000);
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx", "--force"}), 1U);
}

TEST_F(CachedConversionTest, TrustsTheIndexAboutADocumentFromTheFuture) {
    Age("/volume1/docs/a.docx", 100000);
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx"}), 1U);
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx", "--force"}), 0U);
}

TEST_F(CachedConversionTest, RefreshConvertsWhatIsFresh) {
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx"}), 1U);
    PlayTool({.productSize = 200});
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx", "--force", "--refresh"}), 1U);
    EXPECT_EQ(ReadFile(KeptPdf()), std::string(200, 'p'));
}

TEST_F(CachedConversionTest, NoCacheGoesPastIt) {
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx", "--no-cache"}), 1U);
    EXPECT_FALSE(Exists(KeptPdf()));
    ExpectStatus(RunTool({"pdf", "/docs/a.docx", "-o", "kept.pdf"}), ExitCode::kDone);
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx", "--no-cache", "--force"}), 1U);
    EXPECT_TRUE(Exists(KeptPdf())) << "what is kept stays";
}

TEST_F(CachedConversionTest, PagesAreNotKept) {
    EXPECT_EQ(ToolsRunBy({"pdf", "/docs/a.docx", "--pages", "1"}), 1U);
    EXPECT_FALSE(Exists(KeptPdf()));
}

TEST_F(CachedConversionTest, RefusesOptionsThatContradictOneAnother) {
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{"--no-cache", "--refresh"},
          {"--no-cache", "-r"},
          {"--pages", "1", "-r"},
          {"--pages", "1", "--refresh"},
          {"-r", "-o", "x"}}) {
        std::vector<std::string> arguments{"pdf", "/docs/a.docx"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome outcome = RunTool(arguments);
        ExpectStatus(outcome, ExitCode::kUsage);
        EXPECT_THAT(outcome.err, HasSubstr("excludes"));
    }
    EXPECT_THAT(DockerCalls(), IsEmpty());
}

TEST_F(CachedConversionTest, ExplainsAnIndexThatIsDamaged) {
    WriteFile(NAVO::VELLUMO::SZF_CACHE_DB_PATH, std::string(5000, '?'));
    const Outcome outcome = RunTool({"pdf", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kDatabase);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot convert /docs/a.docx"), HasSubstr("cache.db"),
                                   HasSubstr("may be removed")));
    EXPECT_THAT(DockerCalls(), IsEmpty());
}

TEST_F(CachedConversionTest, ExplainsThatNothingCanBeKeptOfTheDocument) {
    WriteFile("/volume1/@navoea", "a file where the directory belongs");
    const Outcome outcome = RunTool({"pdf", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kOutput);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("nothing can be kept"), HasSubstr("--no-cache")));
    EXPECT_THAT(DockerCalls(), IsEmpty());
    ExpectStatus(RunTool({"pdf", "/docs/a.docx", "--no-cache"}), ExitCode::kDone);
}

TEST_F(CachedConversionTest, SaysWhereTheThumbnailLies) {
    const Outcome outcome = RunTool({"thumbnail", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, HasSubstr("/docs/a.docx -> " + KeptPicture() + " ("));
    EXPECT_TRUE(Exists(KeptPicture()));
    EXPECT_THAT(Names(kOutputDir), IsEmpty());
    ExpectScratchEmpty();
    ExpectPoolIdle();
}

TEST_F(CachedConversionTest, BringsACopyOfTheThumbnail) {
    ExpectStatus(RunTool({"thumbnail", "/docs/a.docx", "-o", "."}), ExitCode::kDone);
    EXPECT_THAT(Names(kOutputDir), ElementsAre("a.png"));
    EXPECT_TRUE(Exists(KeptPicture()));
}

TEST_F(CachedConversionTest, MakesNoThumbnailTwice) {
    EXPECT_EQ(ToolsRunBy({"thumbnail", "/docs/a.docx"}), 2U) << "one page cut, one picture";
    EXPECT_EQ(ToolsRunBy({"thumbnail", "/docs/a.docx"}), 0U);
    EXPECT_EQ(ToolsRunBy({"thumbnail", "/docs/a.docx", "--refresh"}), 2U);
    Age(KeptPicture(), -1000);
    EXPECT_EQ(ToolsRunBy({"thumbnail", "/docs/a.docx"}), 2U);
}

TEST_F(CachedConversionTest, MakesNoThumbnailTwiceOfADocumentThatHasReplacedAnother) {
    ToolsRunBy({"pdf", "/docs/a.docx"});
    MakeDocument("saved.docx");
    Age("/volume1/docs/saved.docx", -100);
    std::filesystem::rename("/volume1/docs/saved.docx", "/volume1/docs/a.docx");
    EXPECT_EQ(ToolsRunBy({"thumbnail", "/docs/a.docx"}), 2U);
    EXPECT_EQ(ToolsRunBy({"thumbnail", "/docs/a.docx"}), 0U)
        << "the index still knows the PDF of the other one";
}

TEST_F(CachedConversionTest, MakesNoThumbnailOfAStalePdf) {
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kDone);
    Age("/volume1/docs/a.docx", -1000);
    ExpectStatus(RunTool({"thumbnail", "/docs/a.docx"}), ExitCode::kDone);
    EXPECT_FALSE(Exists(KeptPdf()));
    EXPECT_THAT(DockerCalls()[1], testing::Contains("PageRange=1-1"))
        << "the document itself is cut, by the office";
}

TEST_F(CachedConversionTest, ThumbnailsNeedASecondContainer) {
    WriteState(R"({"navo1":{"using":0,"used":0}})");
    const Outcome outcome = RunTool({"thumbnail", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kPool);
    EXPECT_THAT(outcome.err, HasSubstr("vellumo pool up"));
}

TEST_F(CachedConversionTest, NamesTheToolsThatAThumbnailNeeds) {
    PlayTool({.exitStatus = 1, .productSize = -1});
    EXPECT_THAT(RunTool({"thumbnail", "/docs/a.docx"}).err,
                HasSubstr("the tool (unoconv or convert) made no usable product"));
    MakeEADirectory("/volume1/docs/a.docx");
    WriteFile(KeptPdf(), "%PDF");
    EXPECT_THAT(RunTool({"thumbnail", "/docs/a.docx", "--refresh"}).err,
                HasSubstr("the tool (pdftk or convert) made no usable product"));
}

TEST_F(CachedConversionTest, AnInterruptedThumbnailHasNotFailed) {
    PlayTool({.sleepMs = 60000});
    RunningTool tool({"thumbnail", "/docs/a.docx"});
    ASSERT_TRUE(ToolsAreCalled());
    EXPECT_TRUE(Exists(Mark())) << "it stands while the thumbnail is made";
    tool.Signal(SIGINT);
    ExpectStatus(tool.Wait(), ExitCode::kInterrupted);
    EXPECT_FALSE(Exists(Mark()));
}

TEST_F(CachedConversionTest, TellsProgramsWhereProductsLie) {
    const Json::Value first = RunForJson({"thumbnail", "/docs/a.docx"})["results"][0];
    EXPECT_EQ(first["kept"], KeptPicture());
    EXPECT_EQ(first["fromCache"], false);
    EXPECT_TRUE(first["output"].isNull());
    const Json::Value second = RunForJson({"thumbnail", "/docs/a.docx", "-o", "."});
    EXPECT_EQ(second["fresh"], 1);
    EXPECT_EQ(second["results"][0]["fromCache"], true);
    EXPECT_EQ(second["results"][0]["output"], "/device/out/a.png");
}

TEST_F(FolderConversionTest, ConvertsEverythingBelowTheFolder) {
    const Outcome outcome = RunTool({"pdf", "-r", "/docs"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, HasSubstr("4 of 4 documents converted\n"));
    EXPECT_TRUE(Exists(StreamOf("/volume1/docs/sub/deeper/d.odt", "NAVODOC_THUMB.pdf")));
    EXPECT_THAT(Names(kOutputDir), IsEmpty());
}

TEST_F(FolderConversionTest, PassesOverWhatIsNoDocument) {
    for (const char* name : {"x.txt", "noextension", ".hidden.docx"}) {
        MakeDocument(name);
    }
    MakeDirectory("/volume1/docs/.trash");
    MakeDocument(".trash/old.docx");
    ASSERT_EQ(symlink("/volume1/docs/a.docx", "/volume1/docs/link.docx"), 0);
    const Json::Value json = RunForJson({"pdf", "-r", "/docs/"});
    std::vector<std::string> sources;
    for (const Json::Value& result : json["results"]) {
        sources.push_back(result["source"].asString());
    }
    EXPECT_THAT(sources, ElementsAre("/docs/a.docx", "/docs/b.xlsx", "/docs/sub/c.pdf",
                                     "/docs/sub/deeper/d.odt"));
}

TEST_F(FolderConversionTest, ASecondRunSkipsWhatIsFreshAndSaysSo) {
    EXPECT_EQ(ToolsRunBy({"pdf", "-r", "/docs"}), 4U);
    MakeDocument("new.odt");
    const Outcome second = RunTool({"pdf", "-r", "/docs"});
    EXPECT_THAT(second.out, HasSubstr("1 of 5 documents converted, 4 fresh already\n"));
    EXPECT_THAT(DockerCalls(), SizeIs(5));
}

TEST_F(FolderConversionTest, AnInterruptedRunGoesOnWhereItWas) {
    PlayTool({.isHeld = true});
    RunningTool tool({"pdf", "-r", "/docs"});
    LetToolEnd();
    ASSERT_TRUE(ToolsAreCalled(3));
    tool.Signal(SIGINT);
    const Outcome first = tool.Wait();
    ExpectStatus(first, ExitCode::kInterrupted);
    EXPECT_THAT(first.out, HasSubstr("1 of 4 documents converted, 2 failed, 1 not tried"));
    PlayTool({});
    const Outcome second = RunTool({"pdf", "-r", "/docs"});
    ExpectStatus(second, ExitCode::kDone);
    EXPECT_THAT(second.out, HasSubstr("3 of 4 documents converted, 1 fresh already"));
}

TEST_F(FolderConversionTest, ListsTheFailuresAtTheEndWithWhatToDo) {
    MakeDocument("empty.docx", "");
    const Outcome outcome = RunTool({"pdf", "-r", "/docs"});
    ExpectStatus(outcome, ExitCode::kBadInput);
    EXPECT_THAT(outcome.out, HasSubstr("4 of 5 documents converted, 1 failed"));
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot use /docs/empty.docx"), HasSubstr("is empty"),
                                   HasSubstr("was it copied completely?")));
}

TEST_F(FolderConversionTest, ShowsHowFarItIs) {
    PlayTool({.isHeld = true});
    RunningTool tool({"pdf", "-r", "--jobs", "1", "/docs", "--progress", "plain"});
    for (const char* document : {"[1/4] /docs/a.docx", "[2/4] /docs/b.xlsx",
                                 "[3/4] /docs/sub/c.pdf", "[4/4] /docs/sub/deeper/d.odt"}) {
        EXPECT_TRUE(Says(document + std::string(": tool running")));
        LetToolEnd();
    }
    // While the last tool runs, the document before it may still be on its way into the cache.
    EXPECT_THAT(tool.Wait().err,
                AllOf(HasSubstr("0 done, 0 failed"),
                      AnyOf(HasSubstr("2 done, 0 failed, "), HasSubstr("3 done, 0 failed, ")),
                      HasSubstr(" left")));
}

TEST_F(FolderConversionTest, TriesNoFailedThumbnailAgainUntilItsDocumentChanges) {
    PlayTool({.exitStatus = 1, .productSize = -1});
    ExpectStatus(RunTool({"thumbnail", "-r", "/docs/sub"}), ExitCode::kToolFailed);
    PlayTool({});
    EXPECT_THAT(DockerCalls(), SizeIs(2));
    const Outcome second = RunTool({"thumbnail", "-r", "/docs/sub"});
    ExpectStatus(second, ExitCode::kToolFailed);
    EXPECT_THAT(second.err, AllOf(HasSubstr("an earlier attempt failed"), HasSubstr("--refresh")));
    EXPECT_THAT(DockerCalls(), SizeIs(2)) << "nothing was tried";
    EXPECT_EQ(ToolsRunBy({"thumbnail", "-r", "/docs/sub", "--refresh"}), 4U);
}

TEST_F(FolderConversionTest, TriesANamedThumbnailThatAnotherProgramHasMarked) {
    MakeEADirectory("/volume1/docs/a.docx");
    WriteFile(Mark(), "");
    ExpectStatus(RunTool({"thumbnail", "-r", "/docs/a.docx"}), ExitCode::kToolFailed);
    EXPECT_THAT(DockerCalls(), IsEmpty());
    EXPECT_EQ(ToolsRunBy({"thumbnail", "/docs/a.docx"}), 2U);
    EXPECT_FALSE(Exists(Mark()));
}

TEST_F(FolderConversionTest, SaysThatAFolderHoldsNoDocument) {
    MakeDirectory("/volume1/docs/nothing");
    const Outcome outcome = RunTool({"pdf", "-r", "/docs/nothing"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, HasSubstr("No document that can be converted lies there"));
}

TEST_F(FolderConversionTest, TakesSingleDocumentsToo) {
    const Outcome outcome = RunTool({"pdf", "-r", "/docs/a.docx", "/docs/sub", "/docs/none"});
    ExpectStatus(outcome, ExitCode::kBadInput);
    EXPECT_THAT(outcome.out, HasSubstr("3 of 4 documents converted, 1 failed"));
}
