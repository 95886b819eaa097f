// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "StateFile.h"
#include "Tool.h"
#include "vellumo/BaseDB.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

constexpr const char* kFailures = "/var/packages/Vellumo/etc/failures.db";
constexpr const char* kDocument = "/volume1/docs/a.docx";
constexpr uid_t kNobody = 65534;

class FailuresTest : public ToolTest {
protected:
    FailuresTest() {
        for (const char* file : {kFailures, "/var/packages/Vellumo/etc/thumb.db"}) {
            std::filesystem::remove(file);
        }
        MakeDocument("a.docx");
    }

    // Lets the document's PDF fail once.
    static void FailOnce() {
        PlayTool({.exitStatus = 1, .productSize = -1});
        ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kToolFailed);
        PlayTool({});
    }
    static void FailByTimeLimit() {
        PlayTool({.exitStatus = 124, .productSize = -1});
        ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kTimeLimit);
        PlayTool({});
    }
    // As if the failures lay `seconds` further back.
    static void LetTimePass(int seconds) {
        NAVO::VELLUMO::BaseDB database;
        database.path = kFailures;
        ASSERT_TRUE(database.Open());
        const std::string back = std::to_string(seconds);
        ASSERT_TRUE(database.Exec("UPDATE failures SET first = first - " + back +
                                  ", last = last - " + back +
                                  ", next = CASE next WHEN 0 THEN 0 ELSE next - " + back + " END"));
    }
    static Json::Value Failures(const std::vector<std::string>& options = {}) {
        std::vector<std::string> command{"failures"};
        command.insert(command.end(), options.begin(), options.end());
        return RunForJson(command)["failures"];
    }
    static Json::Value Why(const std::string& sharePath) {
        return RunForJson({"why", sharePath})["documents"][0];
    }
};

}  // namespace

TEST_F(FailuresTest, KeepEveryCommandFromTryingAgain) {
    FailOnce();
    const size_t before = DockerCalls().size();
    for (const std::vector<std::string>& command : {std::vector<std::string>{"pdf", "/docs/a.docx"},
                                                    {"pdf", "/docs/a.docx", "-o", "b.pdf"},
                                                    {"pdf", "-r", "/docs"}}) {
        const Outcome outcome = RunTool(command);
        ExpectStatus(outcome, ExitCode::kToolFailed);
        EXPECT_THAT(outcome.err,
                    AllOf(HasSubstr("an earlier attempt failed"),
                          HasSubstr("made no usable product"), HasSubstr("--refresh")));
    }
    EXPECT_EQ(DockerCalls().size(), before) << "nothing was tried";
    ExpectStatus(RunTool({"thumbnail", "/docs/a.docx"}), ExitCode::kDone);
}

TEST_F(FailuresTest, AreOverriddenByRefreshAndForgottenAfterASuccess) {
    FailOnce();
    ExpectStatus(RunTool({"pdf", "/docs/a.docx", "--refresh"}), ExitCode::kDone);
    EXPECT_THAT(Failures(), SizeIs(0));
    std::filesystem::remove(StreamOf(kDocument, "NAVODOC_THUMB.pdf"));
    ExpectStatus(RunTool({"pdf", "/docs/a.docx", "--force"}), ExitCode::kDone);
}

TEST_F(FailuresTest, DoNotCountForWhatIsNotKept) {
    FailOnce();
    ExpectStatus(RunTool({"pdf", "/docs/a.docx", "--no-cache"}), ExitCode::kDone);
    ExpectStatus(RunTool({"pdf", "/docs/a.docx", "--pages", "1", "--force"}), ExitCode::kDone);
    EXPECT_THAT(Failures(), SizeIs(1));
}

TEST_F(FailuresTest, AreOverWhenTheDocumentChanges) {
    FailOnce();
    MakeDocument("a.docx", "the document, saved again");
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kDone);
}

TEST_F(FailuresTest, AreOverWhenTheToolsChange) {
    FailOnce();
    ChangeTools("sha256:2");
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kDone);
}

TEST_F(FailuresTest, FollowARenamedDocument) {
    FailOnce();
    std::filesystem::rename(kDocument, "/volume1/docs/b.docx");
    ExpectStatus(RunTool({"pdf", "/docs/b.docx"}), ExitCode::kToolFailed);
    MakeDocument("a.docx");
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kDone);
}

TEST_F(FailuresTest, ByATimeLimitLetTheDocumentBeTriedLater) {
    FailByTimeLimit();
    const Outcome early = RunTool({"pdf", "/docs/a.docx"});
    ExpectStatus(early, ExitCode::kToolFailed);
    EXPECT_THAT(early.err, HasSubstr("it is tried again after 2"));
    LetTimePass(10 * 60);
    FailByTimeLimit();
    LetTimePass(60 * 60);
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kToolFailed);
    LetTimePass(60 * 60);
    FailByTimeLimit();
    LetTimePass(1'000'000);
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kToolFailed);
    EXPECT_EQ(Failures()[0]["attempts"], 3);
}

TEST_F(FailuresTest, PutADocumentAsideThatKillsTwoWorkers) {
    for (int death = 0; death < 2; ++death) {
        PlayTool({.isHeld = true});
        const size_t before = DockerCalls().size();
        RunningTool tool({"pdf", "/docs/a.docx"});
        ASSERT_TRUE(ToolsAreCalled(before + 1));
        const std::string process = std::to_string(tool.Process());
        kill(std::stoi(ReadFile("/proc/" + process + "/task/" + process + "/children")), SIGKILL);
        ExpectStatus(tool.Wait(), ExitCode::kFailed);
        LetToolEnd();
        ASSERT_TRUE(ComesTrue([] { return !Exists("/device/tool-may-end"); }));
        LetTimePass(10 * 60);
    }
    PlayTool({});
    EXPECT_THAT(RunTool({"pdf", "/docs/a.docx"}).err,
                HasSubstr("2 worker processes have died of it"));
    ExpectStatus(RunTool({"thumbnail", "/docs/a.docx"}), ExitCode::kToolFailed);
    EXPECT_EQ(Failures()[0]["workerDeaths"], 2);
    EXPECT_TRUE(Failures()[0]["nextTry"].isNull());
}

TEST_F(FailuresTest, OfTheEngineAreNotTheDocuments) {
    InstallDocker(
        "#!/bin/sh\necho 'Cannot connect to the Docker daemon at unix:///x' >&2\nexit 1\n");
    const Outcome outcome = RunTool({"pdf", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kToolFailed);
    EXPECT_THAT(outcome.err, HasSubstr("vellumo doctor"));
    EXPECT_THAT(Failures(), SizeIs(0));
}

TEST_F(FailuresTest, AreTheDocumentsWhenTheirToolOnlySpeaksLikeAnEngine) {
    InstallDocker(
        "#!/bin/sh\n[ \"$3\" = true ] && exit 0\n"
        "echo 'ValueError: Empty file: Error response from daemon' >&2\nexit 1\n");
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kToolFailed);
    ASSERT_THAT(Failures(), SizeIs(1));
    EXPECT_EQ(Failures()[0]["reason"], "tool-failed");
    EXPECT_FALSE(Failures()[0]["nextTry"].isNull())
        << "it is tried again, in case it was the engine";
}

TEST_F(FailuresTest, AreListedTheLatestFirst) {
    EXPECT_EQ(RunTool({"failures"}).out, "No failure is remembered.\n");
    EXPECT_FALSE(Exists(kFailures)) << "looking creates nothing";
    FailOnce();
    LetTimePass(100);
    MakeDirectory("/volume1/docs/sub");
    MakeDocument("sub/b.odt");
    PlayTool({.exitStatus = 1, .productSize = -1});
    RunTool({"pdf", "-r", "/docs/sub"});
    const Json::Value all = Failures();
    ASSERT_THAT(all, SizeIs(2));
    EXPECT_EQ(all[0]["document"], "/volume1/docs/sub/b.odt");
    EXPECT_EQ(all[1]["document"], kDocument);
    EXPECT_EQ(all[1]["product"], "pdf");
    EXPECT_EQ(all[1]["reason"], "tool-failed");
    EXPECT_THAT(Failures({"--limit", "1"}), SizeIs(1));
    EXPECT_EQ(Failures({"--below", "/docs/sub"})[0]["document"], "/volume1/docs/sub/b.odt");
    EXPECT_THAT(Failures({"--below", "/docs/su"}), SizeIs(0));
    EXPECT_THAT(RunTool({"failures"}).out,
                AllOf(HasSubstr("LAST FAILURE"), HasSubstr("never"), HasSubstr(kDocument)));
}

TEST_F(FailuresTest, CanBeForgotten) {
    FailOnce();
    EXPECT_EQ(RunTool({"failures", "forget", "/docs/a.docx"}).out, "1 failure forgotten\n");
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kDone);
    MakeDocument("b.docx");
    PlayTool({.exitStatus = 1, .productSize = -1});
    ExpectStatus(RunTool({"pdf", "/docs/b.docx"}), ExitCode::kToolFailed);
    EXPECT_EQ(RunForJson({"failures", "forget", "--all"})["forgotten"], 1);
    EXPECT_THAT(Failures(), SizeIs(0));
    ExpectStatus(RunTool({"failures", "forget"}), ExitCode::kUsage);
}

TEST_F(FailuresTest, OfDocumentsThatAreGoneAreSwept) {
    FailOnce();
    std::filesystem::remove(kDocument);
    EXPECT_THAT(RunTool({"cache", "sweep", "--dry-run"}).out, HasSubstr(kDocument));
    EXPECT_THAT(Failures(), SizeIs(1));
    EXPECT_THAT(RunTool({"cache", "sweep"}).out, HasSubstr("failure " + std::string(kDocument)));
    EXPECT_THAT(Failures(), SizeIs(0));
}

TEST_F(FailuresTest, AreTakenForUnknownWhereTheMemoryIsDamaged) {
    WriteFile(kFailures, std::string(5000, 'x'));
    PlayTool({.exitStatus = 1, .productSize = -1});
    const Outcome failed = RunTool({"pdf", "/docs/a.docx"});
    ExpectStatus(failed, ExitCode::kToolFailed);
    EXPECT_THAT(failed.err, AllOf(HasSubstr("made no usable product"),
                                  HasSubstr("the memory of failed conversions")));
    PlayTool({});
    const Json::Value made = RunForJson({"pdf", "/docs/a.docx"});
    EXPECT_EQ(made["converted"], 1);
    EXPECT_EQ(made["warnings"][0]["kind"], "database");
    ExpectStatus(RunTool({"failures"}), ExitCode::kDatabase);
    EXPECT_EQ(ReadFile(kFailures), std::string(5000, 'x')) << "it may be worth a look";
}

TEST_F(FailuresTest, AreNobodyElsesBusiness) {
    if (!HasOtherUsers()) {
        GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
    }
    FailOnce();
    for (const std::vector<std::string>& command : {std::vector<std::string>{"failures"},
                                                    {"failures", "forget", "--all"},
                                                    {"why", "/docs/a.docx"}}) {
        const Outcome outcome = RunningTool(command, kNobody).Wait();
        ExpectStatus(outcome, ExitCode::kNotPrepared);
        EXPECT_THAT(outcome.err, HasSubstr("the rights of root"));
        EXPECT_EQ(outcome.out, "");
    }
    // Nobody can open the file, and so neither read nor lock it, nor put another one there.
    const pid_t child = fork();
    if (child == 0) {
        const bool shutOut = setgid(kNobody) == 0 && setuid(kNobody) == 0 &&
                             !std::ifstream(kFailures) && rename("/device/out", kFailures) != 0 &&
                             unlink(kFailures) != 0;
        _exit(shutOut ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(Failures(), SizeIs(1));
}

using WhyTest = FailuresTest;

TEST_F(WhyTest, TellsOfADocumentThatNobodyHasConverted) {
    const Json::Value why = Why("/docs/a.docx");
    EXPECT_EQ(why["realPath"], kDocument);
    EXPECT_EQ(why["converter"], "LibreOfficeConverter");
    EXPECT_TRUE(why["refusal"].isNull());
    EXPECT_EQ(why["products"][0]["kept"], "none");
    EXPECT_EQ(why["products"][1]["product"], "thumbnail");
    EXPECT_EQ(why["queuedThrough"], Parsed("[]"));
    EXPECT_EQ(why["work"]["making"], Parsed("[]"));
    EXPECT_EQ(why["unknown"], Parsed("[]"));
    EXPECT_THAT(RunTool({"why", "/docs/a.docx"}).out,
                AllOf(HasSubstr("not kept"), HasSubstr("nobody works on it"),
                      HasSubstr("it is not queued"), HasSubstr("vellumo pdf /docs/a.docx")));
}

TEST_F(WhyTest, TellsWhatIsKeptAndWhetherItIsFresh) {
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kDone);
    EXPECT_THAT(RunTool({"why", "/docs/a.docx"}).out,
                HasSubstr("kept and fresh: " + StreamOf(kDocument, "NAVODOC_THUMB.pdf")));
    const timespec future[2] = {{4'000'000'000, 0}, {4'000'000'000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, kDocument, future, 0), 0);
    EXPECT_EQ(Why("/docs/a.docx")["products"][0]["kept"], "stale");
}

TEST_F(WhyTest, TellsWhyNothingConvertsIt) {
    MakeDocument("a.txt");
    MakeDocument("empty.odt", "");
    std::filesystem::create_symlink("/etc/passwd", "/volume1/docs/out.odt");
    std::filesystem::create_directory_symlink("/etc", "/volume1/docs/etc");
    const Outcome outcome =
        RunTool({"why", "/docs/a.txt", "/docs/empty.odt", "/docs/none.odt", "/docs/out.odt",
                 "/docs/etc/passwd.odt", "/nowhere/a.odt", "no share path"});
    ExpectStatus(outcome, ExitCode::kDone);
    for (const char* reason :
         {"no converter takes documents of type 'txt'", "empty.odt is empty",
          "there is no file /volume1/docs/none.odt", "out.odt is a symbolic link",
          "leads out of /volume1/docs", "there is no share 'nowhere'", "it is not a share path"}) {
        EXPECT_THAT(outcome.out, HasSubstr(reason));
    }
}

TEST_F(WhyTest, TellsWhyItFailedAndWhenItIsTriedAgain) {
    InstallDocker(
        "#!/bin/sh\n[ $1 != inspect ] || exit 0\necho 'Error: source file could not be loaded' "
        ">&2\n");
    ExpectStatus(RunTool({"pdf", "/docs/a.docx"}), ExitCode::kToolFailed);
    const Outcome outcome = RunTool({"why", "/docs/a.docx"});
    EXPECT_THAT(outcome.out,
                AllOf(HasSubstr("failed 1 time, the last at 2"),
                      HasSubstr("the tool (soffice) made no usable product"),
                      HasSubstr("the tool said: Error: source file could not be loaded"),
                      HasSubstr("not tried again by itself"), HasSubstr("protected by a password"),
                      HasSubstr("vellumo pdf /docs/a.docx --refresh")));
    EXPECT_EQ(Why("/docs/a.docx")["products"][0]["retry"], "if-changed");
}

TEST_F(WhyTest, TellsOfALaterAttempt) {
    FailByTimeLimit();
    const Json::Value pdf = Why("/docs/a.docx")["products"][0];
    EXPECT_EQ(pdf["retry"], "later");
    EXPECT_EQ(pdf["failure"]["reason"], "time-limit");
    LetTimePass(10 * 60);
    EXPECT_EQ(Why("/docs/a.docx")["products"][0]["retry"], "now");
}

TEST_F(WhyTest, TellsWhoWorksOnIt) {
    PlayTool({.isHeld = true});
    RunningTool tool({"pdf", "/docs/a.docx"});
    ASSERT_TRUE(ToolsAreCalled());
    const Json::Value work = Why("/docs/a.docx")["work"];
    EXPECT_EQ(work["making"], Parsed(R"(["pdf"])"));
    EXPECT_EQ(work["jobs"][0]["state"], "running");
    EXPECT_EQ(work["jobs"][0]["container"], DockerCalls()[0][2]);
    LetToolEnd();
    ExpectStatus(tool.Wait(), ExitCode::kDone);
    EXPECT_EQ(Why("/docs/a.docx")["work"]["jobs"], Parsed("[]"));
}

TEST_F(WhyTest, TellsWhatItsJobWaitsFor) {
    WriteState(R"({"navo1": {"using": 1, "used": 1}, "navo2": {"using": 1, "used": 1}})");
    RunningTool tool({"pdf", "/docs/a.docx"});
    ASSERT_TRUE(ComesTrue([] { return State()["waitingQueue"][2].size() == 1; }));
    EXPECT_THAT(RunTool({"why", "/docs/a.docx"}).out,
                HasSubstr("its job waits: 2 of 2 containers busy"));
    FreeContainers();
    ExpectStatus(tool.Wait(), ExitCode::kDone);
}

TEST_F(WhyTest, TellsWhetherItOrAFolderAboveIsQueued) {
    MakeDirectory("/volume1/docs/sub");
    MakeDocument("sub/100%_b.odt");
    ExpectStatus(RunTool({"queue", "add", "/docs/a.docx"}), ExitCode::kDone);
    ExpectStatus(RunTool({"queue", "add", "/docs/sub", "--folder"}), ExitCode::kDone);
    EXPECT_EQ(Why("/docs/a.docx")["queuedThrough"], Parsed(R"(["/volume1/docs/a.docx"])"));
    EXPECT_THAT(RunTool({"why", "/docs/sub/100%_b.odt"}).out,
                HasSubstr("the folder /volume1/docs/sub is queued"));
}

TEST_F(WhyTest, TellsWhatItCannotFindOut) {
    WriteFile(kFailures, std::string(5000, 'x'));
    WriteState("this is not JSON");
    const Json::Value why = Why("/docs/a.docx");
    EXPECT_THAT(why["unknown"], SizeIs(2));
    EXPECT_EQ(why["unknown"][0]["reason"], "failures-unusable");
    EXPECT_EQ(why["unknown"][1]["reason"], "state-file-damaged");
    EXPECT_EQ(why["products"][0]["kept"], "none") << "the rest is there all the same";
}
