// SPDX-License-Identifier: Apache-2.0
// The program as administrators and other programs see it.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <csignal>
#include <cstring>
#include <ctime>

#include "RunningDaemon.h"
#include "StateFile.h"
#include "loader/daemon/DaemonClient.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

namespace core = NAVO::VELLUMO;
using vellumo::support::Descriptor;

Descriptor ConnectTo(const char* path) {
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);
    const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
    return connect(socket.Get(), generic, sizeof(address)) == 0 ? std::move(socket) : Descriptor();
}

class DaemonTest : public DeviceTest {
protected:
    DaemonTest() {
        for (const char* file :
             {core::SZF_THUMB_DB_PATH, core::SZF_CACHE_DB_PATH, core::SZF_INDEX_QUEUE,
              core::SZF_INDEX_QUEUE_WORKING, core::SZF_ENABLE_INDEX, core::SZF_INDEX_CONFIG}) {
            unlink(file);
        }
        unlink("/var/packages/Vellumo/target/index/scan");
        Set(R"({"settle": "1s", "pauseCpu": 0, "pauseIo": 0})");
    }

    // The machine that runs the tests may be busy, which is no reason to pause.
    static void Set(const std::string& settings) {
        WriteFile(core::SZF_INDEX_CONFIG, settings);
        chmod(core::SZF_INDEX_CONFIG, 0644);
    }
};

TEST_F(DaemonTest, KeepsThePdfAndTheThumbnailOfAQueuedDocument) {
    const std::string document = MakeDocument("a.docx");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/a.docx"}), 0);
    EXPECT_TRUE(ComesTrue([&] { return HasBoth(document); }));
    EXPECT_TRUE(RunningDaemon::IsDone());
    EXPECT_EQ(QueuedTasks(), 0U);
}

TEST_F(DaemonTest, WorksThroughAFolder) {
    std::vector<std::string> documents;
    for (const char* name : {"f/a.docx", "f/b.odt", "f/deep/er/c.xlsx"}) {
        documents.push_back(MakeDocument(name));
    }
    MakeDocument("f/notes.txt");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "--folder", "/docs/f"}), 0);
    for (const std::string& document : documents) {
        EXPECT_TRUE(ComesTrue([&] { return HasBoth(document); })) << document;
    }
    EXPECT_TRUE(RunningDaemon::IsDone());
    EXPECT_EQ(QueuedTasks(), 0U);
}

TEST_F(DaemonTest, ConvertsNothingTwice) {
    MakeDocument("a.docx");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/a.docx"}), 0);
    ASSERT_TRUE(RunningDaemon::IsDone());
    const size_t calls = DockerCalls().size();
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/a.docx"}), 0);
    ASSERT_TRUE(ComesTrue([] { return RunningDaemon::Status()["done"]["fresh"] == 1; }));
    EXPECT_EQ(DockerCalls().size(), calls);
}

TEST_F(DaemonTest, GoesOnWithWhatAKilledOneHasLeft) {
    std::vector<std::string> documents;
    for (const char* name : {"f/a.docx", "f/b.docx", "f/c.docx"}) {
        documents.push_back(MakeDocument(name));
    }
    PlayTool({.sleepMs = 300});
    {
        const RunningDaemon daemon;
        ASSERT_EQ(RunVellumo({"queue", "add", "--folder", "/docs/f"}), 0);
        ASSERT_TRUE(ToolsAreCalled());
        daemon.Signal(SIGKILL);
    }
    EXPECT_EQ(QueuedTasks(), 1U);
    const RunningDaemon next;
    for (const std::string& document : documents) {
        EXPECT_TRUE(ComesTrue([&] { return HasBoth(document); })) << document;
    }
    EXPECT_TRUE(RunningDaemon::IsDone());
    EXPECT_EQ(QueuedTasks(), 0U);
    EXPECT_FALSE(ContainersEverOverlapped());
}

TEST_F(DaemonTest, StopsWithinTenSecondsAndLosesNothing) {
    MakeDocument("a.docx");
    PlayTool({.sleepMs = 60000});
    RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/a.docx"}), 0);
    ASSERT_TRUE(ToolsAreCalled());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(daemon.Stop(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_EQ(QueuedTasks(), 1U);
    EXPECT_TRUE(ComesTrue([] { return State()["navo1"]["using"] == 0; }));
    EXPECT_FALSE(Exists(core::SZF_PIDPATH));
}

TEST_F(DaemonTest, SurvivesTheDeathOfAWorker) {
    const std::string document = MakeDocument("a.docx");
    MakeDocument("b.docx");
    PlayTool({.isHeld = true});
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/b.docx"}), 0);
    ASSERT_TRUE(ToolsAreCalled());
    const Finished workers = RunProgram({"pgrep", "-P", std::to_string(daemon.Id())});
    ASSERT_EQ(kill(std::stoi(workers.output), SIGKILL), 0);
    PlayTool({});
    LetToolEnd();
    ASSERT_TRUE(ComesTrue([] { return RunningDaemon::Status()["done"]["failed"] == 1; }));
    EXPECT_EQ(RunningDaemon::Status()["lastFailures"][0]["reason"], "worker-died");
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/a.docx"}), 0);
    EXPECT_TRUE(ComesTrue([&] { return HasBoth(document); }));
}

TEST_F(DaemonTest, DoesWhatSomebodyWaitsForBeforeTheRest) {
    WriteState(R"({"navo1":{"using":0,"used":0},"navo2":{"using":0,"used":0}})");
    for (const char* name : {"a.docx", "b.docx", "c.docx"}) {
        MakeDocument(name);
    }
    PlayTool({.isHeld = true});
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/a.docx", "/docs/b.docx"}), 0);
    ASSERT_TRUE(ToolsAreCalled());
    ASSERT_EQ(RunVellumo({"queue", "add", "--op", "1", "/docs/c.docx"}), 0);
    EXPECT_TRUE(ToolsAreCalled(2)) << "the slot that is left for people was not used";
    const Json::Value running = RunningDaemon::Status()["running"];
    ASSERT_EQ(running.size(), 2U);
    EXPECT_EQ(running[1]["document"], "/docs/c.docx");
    EXPECT_EQ(running[1]["lane"], "now");
}

TEST_F(DaemonTest, RemovesWhatIsKeptOfAFolder) {
    const std::string document = MakeDocument("f/a.docx");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/f/a.docx"}), 0);
    ASSERT_TRUE(ComesTrue([&] { return HasBoth(document); }));
    ASSERT_EQ(RunVellumo({"queue", "add", "--folder", "--op", "2", "/docs/f"}), 0);
    EXPECT_TRUE(ComesTrue([&] { return !HasPdf(document) && !HasThumbnail(document); }));
    EXPECT_TRUE(RunningDaemon::IsDone());
}

TEST_F(DaemonTest, WorksOnTheIndexingQueueWhenIndexingIsOn) {
    const std::string document = MakeDocument("a.docx");
    const std::string odd = MakeDocument("new\nline.docx");
    WriteFile(core::SZF_ENABLE_INDEX, "");
    WriteFile(core::SZF_INDEX_QUEUE,
              document + "\nno path\n{\"path\": \"/volume1/docs/new\\nline.docx\"}\n{broken\n");
    const RunningDaemon daemon;
    EXPECT_TRUE(ComesTrue([&] { return HasBoth(document) && HasBoth(odd); }));
    EXPECT_TRUE(ComesTrue([] { return !Exists(core::SZF_INDEX_QUEUE_WORKING); }));
    EXPECT_FALSE(Exists(core::SZF_INDEX_QUEUE));
}

TEST_F(DaemonTest, ReadsNoIndexingQueueThatOthersMayWriteTo) {
    const std::string document = MakeDocument("a.docx");
    WriteFile(core::SZF_ENABLE_INDEX, "");
    WriteFile(core::SZF_INDEX_QUEUE, document + "\n");
    ASSERT_EQ(chmod(core::SZF_INDEX_QUEUE, 0666), 0);
    Set(R"({"shares": ["archive"], "pauseCpu": 0, "pauseIo": 0})");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/none.docx"}), 0);
    ASSERT_TRUE(RunningDaemon::IsDone());
    EXPECT_FALSE(HasPdf(document));
}

TEST_F(DaemonTest, KeepsTheProductsOfAllSharesWhenIndexingIsOn) {
    const std::string before = MakeDocument("before.docx");
    WriteFile(core::SZF_ENABLE_INDEX, "");
    const RunningDaemon daemon;
    EXPECT_TRUE(ComesTrue([&] { return HasBoth(before); })) << "it was there at the start";
    const std::string after = MakeDocument("new/folder/after.docx");
    EXPECT_TRUE(ComesTrue([&] { return HasBoth(after); })) << "it came later";
}

TEST_F(DaemonTest, WatchesAShareBehindASymbolicLink) {
    MakeDirectory("/volume2/real/place");
    ASSERT_EQ(symlink("/volume2/real", "/volume1/linked"), 0);
    WriteFile("/etc/samba/smb.conf",
              "[global]\n[docker]\n  path = /volume1/docker\n"
              "[linked]\n  path = /volume1/linked/place\n");
    WriteFile(core::SZF_ENABLE_INDEX, "");
    const RunningDaemon daemon;
    ASSERT_TRUE(ComesTrue([] { return RunningDaemon::Status()["watching"][1]["ready"] == true; }));
    ASSERT_TRUE(RunningDaemon::IsDone());
    WriteFile("/volume1/linked/place/a.docx", "some document");
    EXPECT_TRUE(ComesTrue([] { return HasBoth("/volume1/linked/place/a.docx"); }));
}

TEST_F(DaemonTest, ConvertsADocumentAgainWhenItChanges) {
    const std::string document = MakeDocument("a.docx");
    WriteFile(core::SZF_ENABLE_INDEX, "");
    const RunningDaemon daemon;
    ASSERT_TRUE(ComesTrue([&] { return HasBoth(document); }));
    ASSERT_TRUE(RunningDaemon::IsDone());
    PlayTool({.productSize = 4321});
    MakeDocument("a.docx", "changed");
    const std::string pdf = StreamOf(document, core::SZK_THUMB_PDF_TYPE);
    EXPECT_TRUE(ComesTrue([&] { return ReadFile(pdf).size() == 4321; }));
}

TEST_F(DaemonTest, KeepsTheProductsOfARenamedFolder) {
    const std::string document = MakeDocument("old name/a.docx");
    WriteFile(core::SZF_ENABLE_INDEX, "");
    const RunningDaemon daemon;
    ASSERT_TRUE(ComesTrue([&] { return HasBoth(document); }));
    ASSERT_TRUE(RunningDaemon::IsDone());
    const size_t calls = DockerCalls().size();
    ASSERT_EQ(rename("/volume1/docs/old name", "/volume1/docs/new name"), 0);
    EXPECT_TRUE(ComesTrue([] { return HasBoth("/volume1/docs/new name/a.docx"); }));
    EXPECT_TRUE(RunningDaemon::IsDone());
    EXPECT_EQ(DockerCalls().size(), calls) << "it was converted again";
}

TEST_F(DaemonTest, ConvertsNoDocumentAgainThatIsAskedForRightAfterItsRename) {
    const std::string document = MakeDocument("old.docx");
    WriteFile(core::SZF_ENABLE_INDEX, "");
    const RunningDaemon daemon;
    ASSERT_TRUE(ComesTrue([&] { return HasBoth(document); }));
    ASSERT_TRUE(RunningDaemon::IsDone());
    const size_t calls = DockerCalls().size();
    ASSERT_EQ(rename(document.c_str(), "/volume1/docs/new.docx"), 0);
    ASSERT_EQ(RunVellumo({"queue", "add", "--op", "now", "/docs/new.docx"}), 0);
    EXPECT_TRUE(ComesTrue([] { return HasBoth("/volume1/docs/new.docx"); }));
    EXPECT_TRUE(RunningDaemon::IsDone());
    EXPECT_EQ(DockerCalls().size(), calls) << "it was converted again";
}

TEST_F(DaemonTest, FollowsARenameThatHappensRightBeforeItStops) {
    const std::string document = MakeDocument("old.docx");
    WriteFile(core::SZF_ENABLE_INDEX, "");
    RunningDaemon daemon;
    ASSERT_TRUE(ComesTrue([&] { return HasBoth(document); }));
    ASSERT_TRUE(RunningDaemon::IsDone());
    ASSERT_EQ(rename(document.c_str(), "/volume1/docs/new.docx"), 0);
    EXPECT_EQ(daemon.Stop(), 0);
    EXPECT_TRUE(HasBoth("/volume1/docs/new.docx"));
}

TEST_F(DaemonTest, TriesNoFailedDocumentAgainBeforeItChanges) {
    const std::string document = MakeDocument("broken.docx");
    PlayTool({.productSize = -1});
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/broken.docx"}), 0);
    ASSERT_TRUE(ComesTrue([] { return RunningDaemon::Status()["done"]["failed"] == 1; }));
    const size_t calls = DockerCalls().size();
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/broken.docx"}), 0);
    ASSERT_TRUE(ComesTrue([] { return RunningDaemon::Status()["done"]["put-off"] == 1; }));
    EXPECT_EQ(DockerCalls().size(), calls);
    PlayTool({});
    MakeDocument("broken.docx", "mended");
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/broken.docx"}), 0);
    EXPECT_TRUE(ComesTrue([&] { return HasBoth(document); }));
}

TEST_F(DaemonTest, EndsAConversionThatTakesTooLong) {
    MakeDocument("slow.docx");
    Set(R"({"workerTime": "1s", "products": "pdf", "pauseCpu": 0, "pauseIo": 0})");
    PlayTool({.sleepMs = 60000});
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "--type", "pdf", "/docs/slow.docx"}), 0);
    ASSERT_TRUE(ComesTrue([] { return RunningDaemon::Status()["done"]["failed"] == 1; }));
    EXPECT_EQ(RunningDaemon::Status()["lastFailures"][0]["reason"], "time-limit");
    EXPECT_TRUE(ComesTrue([] { return State()["navo1"]["using"] == 0; }));
}

TEST_F(DaemonTest, DoesTheNightsWorkInItsHoursOnly) {
    const std::string night = MakeDocument("night.docx");
    const std::string now = MakeDocument("now.docx");
    const std::time_t inThreeHours = std::time(nullptr) + 3 * 3600;
    std::tm local{};
    localtime_r(&inThreeHours, &local);
    const std::string from = (local.tm_hour < 10 ? "0" : "") + std::to_string(local.tm_hour);
    Set(R"({"nightHours": ")" + from + ":00-" + from + R"(:30", "pauseCpu": 0, "pauseIo": 0})");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/night.docx"}), 0);
    ASSERT_EQ(RunVellumo({"queue", "add", "--op", "now", "/docs/now.docx"}), 0);
    EXPECT_TRUE(ComesTrue([&] { return HasBoth(now); }));
    EXPECT_TRUE(ComesTrue([] {
        return RunningDaemon::Status()["obstacle"] == "outside the hours of the night's work";
    }));
    EXPECT_FALSE(HasPdf(night));
}

TEST_F(DaemonTest, ShowsItsHealthByATrialConversion) {
    const RunningDaemon daemon;
    EXPECT_EQ(RunVellumo({"status", "--health"}), 0);
    EXPECT_THAT(DockerCalls(), testing::SizeIs(1));
    EXPECT_EQ(RunVellumo({"status", "--health"}), 0);
    EXPECT_THAT(DockerCalls(), testing::SizeIs(1)) << "the result serves for a minute";
    EXPECT_THAT(Names("/volume1/docker/@tmp/Vellumo"), testing::ElementsAre("@tmp"));
}

TEST_F(DaemonTest, IsNotHealthyWhenNothingIsConverted) {
    PlayTool({.productSize = -1});
    const RunningDaemon daemon;
    EXPECT_EQ(RunVellumo({"status", "--health"}), 8);
}

TEST_F(DaemonTest, IsNotHealthyWithoutAContainer) {
    WriteState("{}");
    const RunningDaemon daemon;
    EXPECT_EQ(RunVellumo({"status", "--health"}), 8);
}

TEST_F(DaemonTest, ConvertsNoEmptyDocument) {
    MakeDocument("empty.docx", "");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/empty.docx"}), 0);
    ASSERT_TRUE(ComesTrue([] { return RunningDaemon::Status()["done"]["failed"] == 1; }));
    EXPECT_EQ(RunningDaemon::Status()["lastFailures"][0]["reason"], "empty");
    EXPECT_THAT(DockerCalls(), testing::IsEmpty());
}

TEST_F(DaemonTest, TellsWhatItHasDoneAsMetrics) {
    MakeDocument("a.docx");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/a.docx"}), 0);
    ASSERT_TRUE(ComesTrue([] { return RunningDaemon::Status()["done"]["done"] == 1; }));
    const Finished metrics = RunProgram({VELLUMO_TOOL, "status", "--metrics"});
    EXPECT_EQ(metrics.status, 0);
    EXPECT_THAT(metrics.output, HasSubstr("vellumo_conversions_total{product=\"pdf\","
                                          "tool=\"soffice\",outcome=\"done\"} 1\n"));
    EXPECT_THAT(metrics.output, HasSubstr("vellumo_cache_documents 1\n"));
    EXPECT_THAT(metrics.output, testing::EndsWith("# EOF\n"));
}

TEST_F(DaemonTest, IsNotHeldUpByThoseWhoConnectAndAskNothing) {
    const RunningDaemon daemon;
    std::vector<Descriptor> silent;
    for (int i = 0; i < 20; ++i) {
        silent.push_back(ConnectTo(vellumo::loader::kDaemonSocket));
        ASSERT_TRUE(silent.back());
    }
    EXPECT_TRUE(RunningDaemon::Status().isObject());
}

TEST_F(DaemonTest, ShowsThePoolAndTheCacheWithoutADaemon) {
    const Finished status = RunProgram({VELLUMO_TOOL, "status"});
    EXPECT_EQ(status.status, 1);
    EXPECT_THAT(status.output, HasSubstr("2 containers, 0 busy"));
}

TEST_F(DaemonTest, LeavesSharesAndFilesAloneThatTheSettingsExclude) {
    Set(R"({"settle": "1s", "pauseCpu": 0, "pauseIo": 0, "shares": ["docs"],
            "exclude": ["old", "*.xlsx"]})");
    const std::string wanted = MakeDocument("a.docx");
    const std::string inOld = MakeDocument("deep/old/er/b.docx");
    const std::string sheet = MakeDocument("c.xlsx");
    WriteFile("/volume2/archive/d.docx", "some document");
    WriteFile(core::SZF_ENABLE_INDEX, "");
    const RunningDaemon daemon;
    ASSERT_TRUE(ComesTrue([&] { return HasBoth(wanted); }));
    ASSERT_TRUE(RunningDaemon::IsDone());
    EXPECT_FALSE(HasPdf(inOld));
    EXPECT_FALSE(HasPdf(sheet));
    EXPECT_FALSE(HasPdf("/volume2/archive/d.docx"));
}

TEST_F(DaemonTest, NoticesThatIndexingIsSwitchedOnAndOff) {
    const std::string document = MakeDocument("a.docx");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"index", "on"}), 0);
    EXPECT_TRUE(ComesTrue([&] { return HasBoth(document); }));
    ASSERT_EQ(RunVellumo({"index", "off"}), 0);
    EXPECT_TRUE(ComesTrue([] { return RunningDaemon::Status()["watching"].empty(); }));
}

TEST_F(DaemonTest, ReadsItsSettingsAgainOnRequest) {
    const RunningDaemon daemon;
    WriteFile(core::SZF_ENABLE_INDEX, "");
    daemon.Signal(SIGHUP);
    EXPECT_TRUE(ComesTrue([] { return !RunningDaemon::Status()["watching"].empty(); },
                          std::chrono::milliseconds(1500)));
}

TEST_F(DaemonTest, RunsOnce) {
    const RunningDaemon daemon;
    EXPECT_EQ(RunProgram({VELLUMO_DAEMON}).status, 1);
    EXPECT_EQ(ReadFile(core::SZF_PIDPATH), std::to_string(daemon.Id()) + "\n");
}

TEST_F(DaemonTest, WaitsWhenThePoolHasNoContainer) {
    const std::string document = MakeDocument("a.docx");
    WriteState("{}");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/a.docx"}), 0);
    ASSERT_TRUE(ComesTrue(
        [] { return RunningDaemon::Status()["obstacle"] == "the pool has no container"; }));
    WriteState(R"({"navo1":{"using":0,"used":0},"navo2":{"using":0,"used":0}})");
    EXPECT_TRUE(ComesTrue([&] { return HasBoth(document); }));
}

TEST_F(DaemonTest, LosesNoTaskWhileTheEngineIsDown) {
    MakeDocument("a.docx");
    MakeDocument("b.docx");
    unlink("/device/bin/docker");
    WriteFile("/device/bin/docker",
              "#!/bin/sh\necho >>/device/tries; echo 'Cannot connect to the Docker daemon' >&2; "
              "exit 1\n");
    chmod("/device/bin/docker", 0755);
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/a.docx", "/docs/b.docx"}), 0);
    ASSERT_TRUE(ComesTrue([] { return RunningDaemon::Status()["done"]["deferred"] == 1; }));
    EXPECT_THAT(RunningDaemon::Status()["obstacle"].asString(), testing::Not(testing::IsEmpty()));
    EXPECT_EQ(QueuedTasks(), 2U);
    EXPECT_EQ(RunningDaemon::Status()["waiting"]["queued"], 2) << "they are next again";
}

TEST_F(DaemonTest, MakesNoThumbnailThatWouldWaitForEver) {
    const std::string document = MakeDocument("a.docx");
    WriteState(R"({"navo1":{"using":0,"used":0}})");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/a.docx"}), 0);
    EXPECT_TRUE(ComesTrue([&] { return HasPdf(document); }));
    EXPECT_TRUE(RunningDaemon::IsDone());
    EXPECT_FALSE(HasThumbnail(document));
}

TEST_F(DaemonTest, MakesMissingThumbnailsWhenThePoolGetsAPlaceForThem) {
    const std::string document = MakeDocument("a.docx");
    WriteState(R"({"navo1":{"using":0,"used":0}})");
    ASSERT_EQ(RunVellumo({"index", "on"}), 0);
    const RunningDaemon daemon;
    ASSERT_TRUE(ComesTrue([&] { return HasPdf(document); }));
    ASSERT_TRUE(RunningDaemon::IsDone());
    ASSERT_FALSE(HasThumbnail(document));
    WriteState(R"({"navo1":{"using":0,"used":0},"navo2":{"using":0,"used":0}})");
    EXPECT_TRUE(ComesTrue([&] { return HasThumbnail(document); }));
}

TEST_F(DaemonTest, KeepsNothingOfWhatADocumentWasWhenItChangesMeanwhile) {
    const std::string document = MakeDocument("a.docx");
    PlayTool({.isHeld = true});
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/a.docx"}), 0);
    ASSERT_TRUE(ToolsAreCalled());
    WriteFile(document, "another text, of the same document");
    PlayTool({.productSize = 200});
    LetToolEnd();
    EXPECT_TRUE(ComesTrue([&] { return HasThumbnail(document); }));
    EXPECT_EQ(ReadFile(StreamOf(document, core::SZK_THUMB_PDF_TYPE)).size(), 200U)
        << "the PDF of what the document was before is kept";
}

TEST_F(DaemonTest, MakesTheThumbnailOfWhichAKilledAttemptHasLeftTheMark) {
    const std::string document = MakeDocument("a.docx");
    MakeEADirectory(document);
    WriteFile(StreamOf(document, core::SZK_THUMB_TYPE) + ".err.0063", "");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "--folder", "/docs"}), 0);
    EXPECT_TRUE(ComesTrue([&] { return HasThumbnail(document); }));
}

TEST_F(DaemonTest, PassesOverTasksWithUnknownNumbers) {
    const std::string document = MakeDocument("a.docx");
    const RunningDaemon daemon;
    ASSERT_EQ(RunVellumo({"queue", "add", "--op", "77", "/docs/a.docx"}), 0);
    ASSERT_EQ(RunVellumo({"queue", "add", "/docs/a.docx"}), 0);
    EXPECT_TRUE(ComesTrue([&] { return HasBoth(document); }));
    EXPECT_TRUE(ComesTrue([] { return QueuedTasks() == 1; })) << "it belongs to another program";
}

TEST_F(DaemonTest, TellsOnlyRootWhatItDoes) {
    const RunningDaemon daemon;
    const auto others = AsOther([] { return RunProgram({VELLUMO_TOOL, "status"}).status; });
    if (!others) {
        GTEST_SKIP() << "no other users here";
    }
    EXPECT_NE(*others, 0);
}

}  // namespace
