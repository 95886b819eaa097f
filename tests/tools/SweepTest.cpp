// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "StateFile.h"
#include "Tool.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

// A device on which three documents have their PDFs.
class SweepTest : public ToolTest {
protected:
    SweepTest() {
        for (const char* name : {"a.docx", "b.odt", "c.xlsx"}) {
            MakeDocument(name);
        }
        ExpectStatus(RunTool({"pdf", "-r", "/docs"}), ExitCode::kDone);
    }

    static std::string KeptPdf(const std::string& name) {
        return StreamOf("/volume1/docs/" + name, "NAVODOC_THUMB.pdf");
    }

    // Makes what an earlier version has left of a document.
    static void KeepAsBefore(const std::string& folder, const std::string& name) {
        MakeDirectory(folder + "/.navoea/" + name);
        WriteFile(folder + "/.navoea/" + name + "/NAVODOC_THUMB.pdf", "an old pdf");
    }

    // "KIND PATH" of each leftover.
    static std::vector<std::string> Sweep(std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"cache", "sweep"});
        const Json::Value json = RunForJson(options);
        EXPECT_EQ(json["exitCode"], 0);
        std::vector<std::string> found;
        for (const Json::Value& entry : json["leftovers"]) {
            found.push_back(entry["kind"].asString() + ' ' + entry["path"].asString());
        }
        return found;
    }
};

}  // namespace

TEST_F(SweepTest, LeavesWhatIsNeeded) {
    EXPECT_THAT(Sweep(), IsEmpty());
    for (const char* name : {"a.docx", "b.odt", "c.xlsx"}) {
        EXPECT_TRUE(Exists(KeptPdf(name))) << name;
    }
    EXPECT_EQ(RunForJson({"cache", "size"})["products"], 3);
}

TEST_F(SweepTest, RemovesTheProductsOfDocumentsThatAreGone) {
    const std::string gone = EADirectoryOf("/volume1/docs/a.docx");
    const std::string moved = EADirectoryOf("/volume1/docs/b.odt");
    std::filesystem::remove("/volume1/docs/a.docx");
    std::filesystem::rename("/volume1/docs/b.odt", "/volume1/docs/d.odt");
    EXPECT_THAT(Sweep(), UnorderedElementsAre("products " + gone, "products " + moved,
                                              "index-entry /volume1/docs/a.docx",
                                              "index-entry /volume1/docs/b.odt"));
    EXPECT_FALSE(Exists(gone));
    EXPECT_FALSE(Exists(moved));
    EXPECT_TRUE(Exists(KeptPdf("c.xlsx")));
    EXPECT_EQ(RunForJson({"cache", "size"})["products"], 1);
    EXPECT_THAT(Sweep(), IsEmpty());
}

TEST_F(SweepTest, RemovesEntriesWhoseProductIsGone) {
    std::filesystem::remove(KeptPdf("a.docx"));
    EXPECT_THAT(Sweep(), ElementsAre("index-entry /volume1/docs/a.docx"));
    EXPECT_EQ(RunForJson({"cache", "size"})["products"], 2);
}

TEST_F(SweepTest, RemovesOldScratchFilesThatNoJobNames) {
    for (const char* name : {"aaaaaa.docx", "bbbbbb.docx"}) {
        WriteFile(kSourceDir + std::string(name), "a source");
    }
    WriteFile(std::string(kTargetDir) + "bbbbbb.pdf", "a product");
    WriteState(R"({"navo1":{},"runningQueue":{"soffice /Vellumo/@tmp/source/bbbbbb.docx":{}}})");
    EXPECT_THAT(Sweep(), IsEmpty()) << "they are new";
    sleep(2);
    EXPECT_THAT(Sweep({"--age", "1"}),
                ElementsAre("scratch " + std::string(kSourceDir) + "aaaaaa.docx"));
    EXPECT_THAT(ScratchFiles(), ElementsAre("source/bbbbbb.docx", "target/bbbbbb.pdf"));
}

TEST_F(SweepTest, RemovesTheFoldersOfEarlierVersions) {
    MakeDirectory("/volume1/docs/sub");
    KeepAsBefore("/volume1/docs", "a.docx");
    KeepAsBefore("/volume1/docs/sub", "x.docx");
    KeepAsBefore("/volume2/archive", "y.docx");
    EXPECT_THAT(Sweep(), UnorderedElementsAre("old-folder /volume1/docs/.navoea",
                                              "old-folder /volume1/docs/sub/.navoea",
                                              "old-folder /volume2/archive/.navoea"));
    EXPECT_FALSE(Exists("/volume1/docs/.navoea"));
    EXPECT_FALSE(Exists("/volume1/docs/sub/.navoea"));
    EXPECT_FALSE(Exists("/volume2/archive/.navoea"));
    EXPECT_TRUE(Exists("/volume1/docs/sub"));
}

TEST_F(SweepTest, RemovesNothingOfAUserThatHasTheNameOfSuchAFolder) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "needs real root: other users cannot be taken here";
    }
    KeepAsBefore("/volume1/docs", "a.docx");
    ASSERT_EQ(chown("/volume1/docs/.navoea", 12345, 12345), 0);
    EXPECT_THAT(Sweep(), IsEmpty());
    EXPECT_TRUE(Exists("/volume1/docs/.navoea/a.docx/NAVODOC_THUMB.pdf"));
}

TEST_F(SweepTest, RemovesOnlyProductsFromTheFoldersOfEarlierVersions) {
    KeepAsBefore("/volume1/docs", "a.docx");
    WriteFile("/volume1/docs/.navoea/a.docx/letter.docx", "somebody's");
    WriteFile("/volume1/docs/.navoea/secret", "root's");
    Sweep();
    EXPECT_FALSE(Exists("/volume1/docs/.navoea/a.docx/NAVODOC_THUMB.pdf"));
    EXPECT_EQ(ReadFile("/volume1/docs/.navoea/a.docx/letter.docx"), "somebody's");
    EXPECT_EQ(ReadFile("/volume1/docs/.navoea/secret"), "root's");
}

TEST_F(SweepTest, FollowsNoLink) {
    MakeDirectory("/device/elsewhere");
    KeepAsBefore("/device/elsewhere", "a.docx");
    ASSERT_EQ(symlink("/device/elsewhere", "/volume1/docs/link"), 0);
    ASSERT_EQ(symlink("/device/elsewhere/.navoea", "/volume1/docs/.navoea"), 0);
    EXPECT_THAT(Sweep(), IsEmpty());
    EXPECT_TRUE(Exists("/device/elsewhere/.navoea/a.docx/NAVODOC_THUMB.pdf"));
    std::filesystem::remove_all("/device/elsewhere");
}

TEST_F(SweepTest, OnlyShowsInADryRun) {
    KeepAsBefore("/volume1/docs", "x.docx");
    std::filesystem::remove("/volume1/docs/a.docx");
    const std::string kept = KeptPdf("a.docx");
    EXPECT_THAT(Sweep({"--dry-run"}), testing::SizeIs(2));
    EXPECT_TRUE(Exists(kept));
    EXPECT_TRUE(Exists("/volume1/docs/.navoea/x.docx/NAVODOC_THUMB.pdf"));
    const Outcome outcome = RunTool({"cache", "sweep", "-n"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, HasSubstr("2 leftovers, 110 bytes, would be removed\n"));
}

TEST_F(SweepTest, TellsWhatItHasRemoved) {
    std::filesystem::remove("/volume1/docs/a.docx");
    const std::string gone = EADirectoryOf("/volume1/docs/a.docx");
    const Outcome outcome = RunTool({"cache", "sweep"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_EQ(outcome.out, "products " + gone +
                               "\nindex-entry /volume1/docs/a.docx\n"
                               "2 leftovers, 100 bytes, removed\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(SweepTest, EndsWhenItIsInterruptedAndGoesOnTheNextTime) {
    for (int i = 0; i < 3000; ++i) {
        MakeDirectory("/volume1/docs/" + std::to_string(i));
    }
    KeepAsBefore("/volume1/docs/1234", "a.docx");
    RunningTool tool({"cache", "sweep"});
    tool.Signal(SIGINT);
    const Outcome outcome = tool.Wait();
    EXPECT_TRUE(outcome.status == -SIGINT || outcome.status == 130) << outcome.status;
    Sweep();
    EXPECT_FALSE(Exists("/volume1/docs/1234/.navoea"));
}
