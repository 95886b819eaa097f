// SPDX-License-Identifier: Apache-2.0
#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::HasSubstr;

namespace {

class PathTest : public ToolTest {
protected:
    PathTest() { MakeDocument("a.docx"); }
};

}  // namespace

TEST_F(PathTest, ShowsHowADocumentResolves) {
    const Outcome outcome = RunTool({"path", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kDone);
    for (const char* part :
         {"/volume1/docs/a.docx", "docx", "LibreOfficeConverter (soffice) makes a pdf",
          "UnoconvConverter (unoconv) makes a pdf", "/volume1/@navoea/docs/@", "13 bytes"}) {
        EXPECT_THAT(outcome.out, HasSubstr(part));
    }
}

TEST_F(PathTest, TellsProgramsHowADocumentResolves) {
    const Json::Value json = RunForJson({"path", "/docs/a.docx", "--user", "ann"});
    EXPECT_EQ(json["sharePath"], "/docs/a.docx");
    EXPECT_EQ(json["user"], "ann");
    EXPECT_EQ(json["realPath"], "/volume1/docs/a.docx");
    EXPECT_EQ(json["type"], "docx");
    EXPECT_EQ(json["converter"]["whole"],
              Parsed(R"({"name":"LibreOfficeConverter","tool":"soffice","targetType":"pdf"})"));
    EXPECT_EQ(json["eaDirectory"], EADirectoryOf("/volume1/docs/a.docx"));
    EXPECT_EQ(json["exists"], true);
    EXPECT_EQ(json["kind"], "file");
    EXPECT_EQ(json["readable"], true);
    EXPECT_EQ(json["size"], 13);
}

TEST_F(PathTest, CreatesNothing) {
    RunTool({"path", "/docs/a.docx"});
    EXPECT_FALSE(Exists("/volume1/@navoea"));
    EXPECT_FALSE(Exists(kSourceDir));
}

TEST_F(PathTest, NeedsNoFile) {
    const Json::Value json = RunForJson({"path", "/docs/none.xlsx"});
    EXPECT_EQ(json["exitCode"], 0);
    EXPECT_EQ(json["exists"], false);
    EXPECT_EQ(json["kind"], "missing");
    EXPECT_EQ(json["converter"]["whole"]["tool"], "unoconv");
}

TEST_F(PathTest, SaysThatNoConverterTakesAType) {
    EXPECT_TRUE(RunForJson({"path", "/docs/a.txt"})["converter"].isNull());
    EXPECT_THAT(RunTool({"path", "/docs/a.txt"}).out, HasSubstr("none takes this type"));
}

TEST_F(PathTest, ShowsTheFolderOfAShare) {
    const Json::Value json = RunForJson({"path", "/docs"});
    EXPECT_EQ(json["realPath"], "/volume1/docs");
    EXPECT_EQ(json["kind"], "directory");
}

TEST_F(PathTest, MapsTheHomeAliasForTheNamedUser) {
    EXPECT_EQ(RunForJson({"path", "/home/x.epub", "--user", "root"})["realPath"],
              "/volume1/homes/root/x.epub");
}

TEST_F(PathTest, RefusesTheBareHomeAlias) {
    const Outcome outcome = RunTool({"path", "/home"});
    ExpectStatus(outcome, ExitCode::kBadInput);
    EXPECT_THAT(outcome.err, HasSubstr("alias of a home folder"));
}

TEST_F(PathTest, RefusesAnUnknownShare) {
    const Json::Value json = RunForJson({"path", "/nope/a.docx"});
    EXPECT_EQ(json["exitCode"], static_cast<int>(ExitCode::kBadInput));
    EXPECT_EQ(json["error"]["kind"], "bad-input");
}

TEST_F(PathTest, RefusesAPathOutOfItsShare) {
    ExpectStatus(RunTool({"path", "/docs/../docker/x.pdf"}), ExitCode::kBadInput);
}

TEST_F(PathTest, GivesValidJsonForANameThatIsNoUtf8) {
    MakeDocument("\xff\xfe.docx");
    const Json::Value json = RunForJson({"path", "/docs/\xff\xfe.docx"});
    EXPECT_EQ(json["exists"], true);
    EXPECT_THAT(json["realPath"].asString(), testing::StartsWith("/volume1/docs/"));
}
