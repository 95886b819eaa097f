// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <csignal>
#include <filesystem>

#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class ConversionTest : public ToolTest {
protected:
    ConversionTest() {
        for (const char* name : {"a.docx", "b.xlsx", "c.pdf", "d.epub"}) {
            MakeDocument(name);
        }
    }

    static void ExpectNothingLeft() {
        ExpectScratchEmpty();
        ExpectPoolIdle();
    }
};

}  // namespace

TEST_F(ConversionTest, PutsThePdfIntoTheCurrentDirectory) {
    const Outcome outcome = RunTool({"pdf", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(outcome.out, HasSubstr("/docs/a.docx -> /device/out/a.pdf"));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(ReadFile("/device/out/a.pdf"), std::string(100, 'p'));
    ExpectNothingLeft();
}

TEST_F(ConversionTest, LeavesTheDocumentAlone) {
    RunTool({"pdf", "/docs/a.docx"});
    EXPECT_EQ(ReadFile("/volume1/docs/a.docx"), "some document");
    EXPECT_THAT(Names("/volume1/docs"), ElementsAre("a.docx", "b.xlsx", "c.pdf", "d.epub"));
}

TEST_F(ConversionTest, GivesTheProductThePermissionsOfAnOrdinaryFile) {
    RunTool({"pdf", "/docs/c.pdf"});
    struct stat status {};
    ASSERT_EQ(stat("/device/out/c.pdf", &status), 0);
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(status.st_mode & 0777U, 0666U & ~mask);
}

TEST_F(ConversionTest, ReplacesALinkInTheOutputsPlaceAndWritesNothingThroughIt) {
    for (const char* target : {"precious", "/device/out/nothing", "/dev/null"}) {
        WriteFile("/device/out/precious", "precious");
        std::filesystem::remove("/device/out/a.pdf");
        std::filesystem::create_symlink(target, "/device/out/a.pdf");
        ExpectStatus(RunTool({"pdf", "/docs/a.docx", "--force", "--no-cache"}), ExitCode::kDone);
        EXPECT_FALSE(std::filesystem::is_symlink("/device/out/a.pdf"));
        EXPECT_EQ(ReadFile("/device/out/a.pdf"), std::string(100, 'p'));
        EXPECT_EQ(ReadFile("/device/out/precious"), "precious");
        EXPECT_FALSE(Exists("/device/out/nothing"));
    }
    EXPECT_THAT(Names(kOutputDir), ElementsAre("a.pdf", "precious"));
    ExpectNothingLeft();
}

TEST_F(ConversionTest, WritesToTheNamedFile) {
    ExpectStatus(RunTool({"pdf", "/docs/a.docx", "-o", "report.pdf"}), ExitCode::kDone);
    EXPECT_THAT(Names(kOutputDir), ElementsAre("report.pdf"));
}

TEST_F(ConversionTest, WritesIntoTheNamedDirectory) {
    MakeDirectory("/device/out/sub");
    ExpectStatus(RunTool({"pdf", "/docs/a.docx", "/docs/b.xlsx", "-o", "sub"}), ExitCode::kDone);
    EXPECT_THAT(Names("/device/out/sub"), ElementsAre("a.pdf", "b.pdf"));
}

TEST_F(ConversionTest, MovesTheProductToAnotherFileSystem) {
    ExpectStatus(RunTool({"pdf", "/docs/a.docx", "-o", "/dev/shm/a.pdf"}), ExitCode::kDone);
    EXPECT_EQ(ReadFile("/dev/shm/a.pdf"), std::string(100, 'p'));
    ExpectNothingLeft();
}

TEST_F(ConversionTest, ReplacesAnOutputOnlyWithForce) {
    WriteFile("/device/out/a.pdf", "old");
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kOutput);
    EXPECT_EQ(ReadFile("/device/out/a.pdf"), "old");
    ExpectStatus(RunTool({"pdf", "/docs/a.docx", "--force"}), ExitCode::kDone);
    EXPECT_EQ(ReadFile("/device/out/a.pdf"), std::string(100, 'p'));
}

TEST_F(ConversionTest, DoesNotReplaceAnOutputThatAppearsMeanwhile) {
    PlayTool({.isHeld = true});
    RunningTool tool({"pdf", "/docs/a.docx"});
    ASSERT_TRUE(ToolsAreCalled());
    WriteFile("/device/out/a.pdf", "somebody else's");
    LetToolEnd();
    const Outcome outcome = tool.Wait();
    ExpectStatus(outcome, ExitCode::kOutput);
    EXPECT_THAT(outcome.err, HasSubstr("exists already"));
    EXPECT_EQ(ReadFile("/device/out/a.pdf"), "somebody else's");
    ExpectNothingLeft();
}

TEST_F(ConversionTest, ConvertsPagesAtLowPriority) {
    ExpectStatus(RunTool({"pdf", "/docs/a.docx", "--pages", "1-3"}), ExitCode::kDone);
    ASSERT_EQ(DockerCalls().size(), 1U);
    EXPECT_EQ(DockerCalls()[0][2], "navo2") << "the first container is kept for other work";
    EXPECT_THAT(DockerCalls()[0], testing::Contains("PageRange=1-3"));
    EXPECT_THAT(Names(kOutputDir), ElementsAre("a.pdf"));
}

TEST_F(ConversionTest, NamesTheCoverOfAnEBookAsAPicture) {
    ExpectStatus(RunTool({"pdf", "/docs/d.epub", "--pages", "1"}), ExitCode::kDone);
    EXPECT_THAT(Names(kOutputDir), ElementsAre("d.jpg"));
}

TEST_F(ConversionTest, FindsTheDocumentInTheHomeOfTheNamedUser) {
    MakeDirectory("/volume1/homes/root");
    WriteFile("/volume1/homes/root/notes.odt", "notes");
    ExpectStatus(RunTool({"pdf", "/home/notes.odt", "--user", "root"}), ExitCode::kDone);
    EXPECT_THAT(Names(kOutputDir), ElementsAre("notes.pdf"));
}

TEST_F(ConversionTest, TakesNamesOfAnyCharacters) {
    const std::string name = "-o 'q\" \xc3\xa4\xff\n.b.docx";
    MakeDocument(name);
    const Outcome outcome = RunTool({"pdf", "/docs/" + name});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_THAT(Names(kOutputDir), ElementsAre("-o 'q\" \xc3\xa4\xff\n.b.pdf"));
    EXPECT_THAT(outcome.out, HasSubstr("\\x0a")) << "control characters do not reach a terminal";
}

TEST_F(ConversionTest, NamesTheOutputOfAFileThatIsAllExtension) {
    MakeDocument(".docx");
    ExpectStatus(RunTool({"pdf", "/docs/.docx"}), ExitCode::kDone);
    EXPECT_THAT(Names(kOutputDir), ElementsAre(".docx.pdf"));
}

TEST_F(ConversionTest, TellsTheTimeLimitFromOtherFailures) {
    PlayTool({.exitStatus = 124, .productSize = -1});
    const Outcome outcome = RunTool({"pdf", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kTimeLimit);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot convert /docs/a.docx"),
                                   HasSubstr("limit of 120 seconds"), HasSubstr("--pages")));
    EXPECT_THAT(Names(kOutputDir), IsEmpty());
    ExpectNothingLeft();
}

TEST_F(ConversionTest, TellsWhatTheToolSaidWhenItFailed) {
    InstallDocker(
        "for i in 1 2 3 4 5 6; do echo \"line $i\" >&2; done; "
        "printf 'source \\x1b[31mbroken' >&2; exit 1\n");
    const Outcome outcome = RunTool({"pdf", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kToolFailed);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("the tool (soffice) made no usable product"),
                      HasSubstr("The tool said:"), HasSubstr("line 6"),
                      HasSubstr("source \\x1b[31mbroken"), HasSubstr("open it with its own")));
    EXPECT_THAT(outcome.err, Not(HasSubstr("line 1"))) << "the last lines only";
    ExpectNothingLeft();
}

TEST_F(ConversionTest, TakesATooSmallProductAsAFailureOfTheTool) {
    PlayTool({.productSize = 10});
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kToolFailed);
    EXPECT_THAT(Names(kOutputDir), IsEmpty());
    ExpectNothingLeft();
}

TEST_F(ConversionTest, TellsAPreparationThatFailed) {
    WriteFile("/volume1/docker/@tmp", "a file where the scratch directories belong");
    const Outcome outcome = RunTool({"pdf", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kNotPrepared);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("could not be prepared"), HasSubstr("journalctl")));
}

TEST_F(ConversionTest, TellsThatItsWorkerProcessWasKilled) {
    PlayTool({.isHeld = true});
    RunningTool tool({"pdf", "/docs/a.docx"});
    ASSERT_TRUE(ToolsAreCalled());
    const std::string children = ReadFile("/proc/" + std::to_string(tool.Process()) + "/task/" +
                                          std::to_string(tool.Process()) + "/children");
    kill(std::stoi(children), SIGKILL);
    const Outcome outcome = tool.Wait();
    ExpectStatus(outcome, ExitCode::kFailed);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("was ended by signal 9"), HasSubstr("vellumo pool")));
    LetToolEnd();
}

TEST_F(ConversionTest, AttemptsAllDocumentsAndEndsWithTheFirstFailure) {
    MakeDocument("e.txt");
    const Outcome outcome =
        RunTool({"pdf", "/docs/a.docx", "/docs/e.txt", "/docs/none.odt", "/docs/b.xlsx"});
    ExpectStatus(outcome, ExitCode::kUnsupportedType);
    EXPECT_THAT(Names(kOutputDir), ElementsAre("a.pdf", "b.pdf"));
    EXPECT_THAT(outcome.out, HasSubstr("2 of 4 documents converted"));
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/docs/e.txt"), HasSubstr("/docs/none.odt")));
    ExpectNothingLeft();
}

TEST_F(ConversionTest, RefusesASecondDocumentWithTheSameOutput) {
    MakeDocument("a.odt");
    const Outcome outcome = RunTool({"pdf", "/docs/a.docx", "/docs/a.odt", "--force"});
    ExpectStatus(outcome, ExitCode::kOutput);
    EXPECT_THAT(outcome.err, HasSubstr("it is the output of /docs/a.docx already"));
    EXPECT_EQ(DockerCalls().size(), 1U);
}

TEST_F(ConversionTest, NeverReplacesAnotherDocumentOfTheCall) {
    MakeDocument("c.docx");
    const Outcome outcome =
        RunTool({"pdf", "/docs/c.docx", "/docs/c.pdf", "--force", "-o", "/volume1/docs"});
    ExpectStatus(outcome, ExitCode::kOutput);
    EXPECT_THAT(outcome.err, HasSubstr("it is the document /docs/c.pdf, which is never changed"));
    EXPECT_EQ(ReadFile("/volume1/docs/c.pdf"), "some document");
    EXPECT_THAT(DockerCalls(), IsEmpty());
}

TEST_F(ConversionTest, IsSilentWhenQuiet) {
    const Outcome outcome = RunTool({"pdf", "-q", "--progress", "plain", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kDone);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(ConversionTest, ShowsThePhasesOfEachDocument) {
    PlayTool({.isHeld = true});
    RunningTool tool({"pdf", "--progress", "plain", "/docs/a.docx", "/docs/b.xlsx"});
    EXPECT_TRUE(Says("[1/2] /docs/a.docx: tool running"));
    LetToolEnd();
    EXPECT_TRUE(Says("[2/2] /docs/b.xlsx: tool running"));
    LetToolEnd();
    ExpectStatus(tool.Wait(), ExitCode::kDone);
}

TEST_F(ConversionTest, SaysWhatAJobWaitsFor) {
    WriteState(R"({"navo1":{"using":1},"navo2":{"using":1}})");
    RunningTool tool({"pdf", "--progress", "plain", "--pages", "1", "/docs/a.docx"});
    EXPECT_TRUE(Says("waiting for a container, 0 s (1 of 1 container busy)"));
    FreeContainers();
    ExpectStatus(tool.Wait(), ExitCode::kDone);
}

TEST_F(ConversionTest, TellsProgramsAboutEachDocument) {
    const Json::Value json = RunForJson({"pdf", "/docs/a.docx", "/docs/none.odt"});
    EXPECT_EQ(json["total"], 2);
    EXPECT_EQ(json["converted"], 1);
    ASSERT_EQ(json["results"].size(), 2U);
    EXPECT_EQ(json["results"][0]["source"], "/docs/a.docx");
    EXPECT_EQ(json["results"][0]["output"], "/device/out/a.pdf");
    EXPECT_EQ(json["results"][0]["ok"], true);
    EXPECT_TRUE(json["results"][0]["seconds"].isDouble());
    EXPECT_TRUE(json["results"][1]["output"].isNull());
    EXPECT_EQ(json["results"][1]["error"]["kind"], "bad-input");
}

TEST_F(ConversionTest, TellsProgramsWhatTheToolSaid) {
    InstallDocker("echo 'not a document' >&2\n");
    const Json::Value json = RunForJson({"pdf", "/docs/a.docx"});
    EXPECT_EQ(json["error"]["kind"], "tool-failure");
    EXPECT_EQ(json["error"]["toolOutput"], Parsed(R"(["not a document"])"));
}
