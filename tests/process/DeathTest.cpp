// SPDX-License-Identifier: Apache-2.0
#include <json/writer.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>
#include <thread>

#include "Device.h"
#include "StateFile.h"
#include "SyslogSink.h"
#include "Worker.h"
#include "vellumo/ContainerPoolManager.h"

using namespace vellumo::test;
using NAVO::VELLUMO::ContainerPoolManager;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::IsEmpty;
using testing::SizeIs;

// What a killed process leaves, and who sets it right.
namespace {

constexpr const char* kDocument = "/volume1/docs/a.docx";
constexpr const char* kOther = "/volume1/docs/b.docx";
constexpr const char* kLeases = "/var/packages/Vellumo/etc/leases";

// One poll takes half a second; on a busy machine a process needs a while to start its tool.
constexpr milliseconds kOnePoll{1500};

class Death : public DeviceTest {
protected:
    Death() {
        WriteFile(kDocument, "document");
        WriteFile(kOther, "another one");
        PlayTool({.isHeld = true});
    }
    ~Death() override {
        for (size_t i = 0; i < 5; ++i) {
            LetToolEnd();
        }
    }

    // A process whose tool has been called and is held.
    static Worker AtWork(const std::string& service, const std::string& document = kDocument) {
        const size_t before = DockerCalls().size();
        Worker worker = PoolWorker({service, document});
        EXPECT_TRUE(ToolsAreCalled(before + 1));
        return worker;
    }
    static void Kill(Worker& worker) {
        worker.Signal(SIGKILL);
        EXPECT_EQ(worker.Wait(), -SIGKILL);
    }
    static void LetOneToolEnd() {
        LetToolEnd();
        EXPECT_TRUE(ComesTrue([] { return !Exists("/device/tool-may-end"); }));
    }
    static bool IsKept(const std::string& document) {
        return Exists(StreamOf(document, "NAVODOC_THUMB.pdf"));
    }

    static void ExpectNothingLeft() {
        const Json::Value state = State();
        EXPECT_EQ(state["runningFiles"], Parsed("{}"));
        EXPECT_EQ(state["runningQueue"], Parsed("{}"));
        EXPECT_EQ(state["waitingQueue"], Parsed("[{},{},{}]"));
        EXPECT_EQ(state["navo1"]["using"], 0);
        EXPECT_EQ(state["navo2"]["using"], 0);
        EXPECT_THAT(ScratchFiles(), IsEmpty());
        EXPECT_THAT(Names(kLeases), testing::ElementsAre("boot"));
    }
};

}  // namespace

TEST_F(Death, AnotherProcessTakesItsDocumentOverWithinOnePoll) {
    Worker first = AtWork("pdf");
    Worker other = PoolWorker({"pdf", kDocument});
    ASSERT_EQ(other.ReadLine(), "waiting");
    Kill(first);
    EXPECT_TRUE(ComesTrue([] { return DockerCalls().size() == 2; }, kOnePoll));
    LetOneToolEnd();
    LetOneToolEnd();
    EXPECT_EQ(other.Wait(), 0);
    EXPECT_TRUE(IsKept(kDocument));
    EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
}

TEST_F(Death, NextConversionRemovesAllThatItLeft) {
    Worker first = AtWork("pdf");
    Kill(first);
    LetOneToolEnd();
    PlayTool({});
    Worker next = PoolWorker({"pdf", kDocument});
    EXPECT_EQ(next.Wait(), 0);
    EXPECT_TRUE(IsKept(kDocument));
    ExpectNothingLeft();
    EXPECT_EQ(ReadFile(kDocument), "document");
}

TEST_F(Death, NextConversionRemovesThePartOfAProductThatAnEngineHasLeft) {
    Worker first = AtWork("pdf");
    Kill(first);
    const std::vector<std::string> sources = Names(kSourceDir);
    ASSERT_THAT(sources, SizeIs(1));
    const std::string name = sources[0].substr(0, sources[0].rfind('.'));
    WriteFile(std::string(kTargetDir) + '.' + name + ".pdf.part", "half a product");
    LetOneToolEnd();
    PlayTool({});
    Worker next = PoolWorker({"pdf", kDocument});
    EXPECT_EQ(next.Wait(), 0);
    ExpectNothingLeft();
}

TEST_F(Death, MarkOfAnotherProgramIsRespected) {
    WriteState(R"({"navo1":{},"runningFiles":{"/volume1/docs/a.docx:origin":{}}})");
    Worker other = PoolWorker({"pdf", kDocument});
    ASSERT_EQ(other.ReadLine(), "waiting");
    EXPECT_FALSE(ToolsAreCalled(1, kOnePoll));
    WriteState(R"({"navo1":{}})");
    EXPECT_EQ(other.Wait(), 0);
    EXPECT_THAT(DockerCalls(), IsEmpty());
}

TEST_F(Death, SlotIsInUseUntilItsToolHasEnded) {
    WriteState(R"({"navo1":{"using":0,"used":0}})");
    Worker first = AtWork("pdf");
    Kill(first);
    Worker other = PoolWorker({"pdf", kOther});
    EXPECT_FALSE(ToolsAreCalled(2, kOnePoll));
    EXPECT_EQ(State()["navo1"]["using"], 1);
    LetOneToolEnd();
    EXPECT_TRUE(ToolsAreCalled(2, kOnePoll));
    LetOneToolEnd();
    EXPECT_EQ(other.Wait(), 0);
    EXPECT_FALSE(ContainersEverOverlapped());
}

TEST_F(Death, SlotIsInUseWhileTheContainerRunsACommandWhoseClientIsDeadToo) {
    WriteState(R"({"navo1":{"using":0,"used":0}})");
    LetContainerRunACommand("navo1", true);
    Worker first = AtWork("pdf");
    Kill(first);
    LetOneToolEnd();  // the client has ended, the command has not
    PlayTool({});
    Worker other = PoolWorker({"pdf", kOther});
    EXPECT_FALSE(ToolsAreCalled(2, seconds(4)));
    EXPECT_GE(LooksIntoContainers(), 1U);
    EXPECT_LE(LooksIntoContainers(), 4U) << "a look costs";
    LetContainerRunACommand("navo1", false);
    EXPECT_EQ(other.Wait(), 0);
    EXPECT_THAT(DockerCalls(), SizeIs(2));
}

namespace {

// An engine whose looks into containers tell nothing.
class DeathAtASilentEngine : public Death {
protected:
    DeathAtASilentEngine() {
        WriteState(R"({"navo1":{"using":0,"used":0}})");
        const std::filesystem::path engine = "/device/bin/docker";
        const std::string scripted = std::filesystem::read_symlink(engine);
        std::filesystem::remove(engine);
        WriteFile(engine,
                  "#!/bin/sh\nif [ \"$3\" = sh ]; then\n"
                  "echo look >> /device/docker-looks\nexit 1\nfi\nexec " +
                      scripted + " \"$@\"\n");
        std::filesystem::permissions(engine, std::filesystem::perms(0755));
    }

    // A slot whose process and tool have ended.
    static void LeaveSlot() {
        Worker first = AtWork("pdf");
        Kill(first);
        LetOneToolEnd();
        PlayTool({});
    }
    // Makes the slot one that was claimed long before the server's start.
    static void LetLongTimePass() {
        for (const std::string& name : Names(kLeases)) {
            if (name.starts_with("slot-")) {
                const std::string path = std::string(kLeases) + '/' + name;
                std::string text = ReadFile(path);
                const size_t looked = text.rfind('\0', text.size() - 2);
                const size_t claimed = text.rfind('\0', looked - 1) + 1;
                WriteFile(path, text.replace(claimed, looked - claimed, "-1000"));
            }
        }
    }
};

}  // namespace

TEST_F(DeathAtASilentEngine, SlotIsInUseAsLongAsItsCommandMayRun) {
    LeaveSlot();
    Worker other = PoolWorker({"pdf", kOther});
    EXPECT_TRUE(ComesTrue([] { return LooksIntoContainers() >= 2; }));
    EXPECT_THAT(DockerCalls(), SizeIs(1));
    EXPECT_EQ(State()["navo1"]["using"], 1);
    other.Signal(SIGKILL);
}

TEST_F(DeathAtASilentEngine, SlotIsGivenBackWhenNoCommandCanRunAnyMore) {
    LeaveSlot();
    LetLongTimePass();
    Worker other = PoolWorker({"pdf", kOther});
    EXPECT_TRUE(ToolsAreCalled(2)) << StateText();
    EXPECT_EQ(other.Wait(), 0);
    EXPECT_EQ(State()["navo1"]["using"], 0);
}

TEST_F(Death, WaitingJobHoldsUpNobody) {
    WriteState(R"({"navo1":{"using":1,"used":0},"navo2":{"using":1,"used":0}})");
    Worker urgent = PoolWorker({"pdf", kDocument});
    ASSERT_TRUE(ComesTrue([] { return State()["waitingQueue"][2].size() == 1; }));
    Kill(urgent);
    Json::Value state = State();
    ASSERT_EQ(state["waitingQueue"][2].size(), 1U);
    state["navo1"]["using"] = state["navo2"]["using"] = 0;
    WriteState(Json::writeString(Json::StreamWriterBuilder(), state));
    PlayTool({});
    Worker low = PoolWorker({"thumbnail", kOther});
    EXPECT_TRUE(ToolsAreCalled(1, kOnePoll));
    EXPECT_EQ(low.Wait(), 0);
    EXPECT_EQ(State()["waitingQueue"], Parsed("[{},{},{}]"));
}

TEST_F(Death, JobOfAnotherProgramIsWaitedFor) {
    WriteState(R"({"navo1":{},"navo2":{},"waitingQueue":[{},{},{"a job":true}]})");
    PlayTool({});
    Worker low = PoolWorker({"thumbnail", kOther});
    EXPECT_FALSE(ToolsAreCalled(1, kOnePoll));
    WriteState(R"({"navo1":{},"navo2":{}})");
    EXPECT_EQ(low.Wait(), 0);
}

TEST_F(Death, OfTheStateFileLeavesTheSlotToWhoHasIt) {
    WriteState(R"({"navo1":{"using":0,"used":0}})");
    Worker first = AtWork("pdf");
    WriteState(R"({"navo1":{"using":0,"used":0}})");  // the container is registered anew
    Worker other = PoolWorker({"pdf", kOther});
    EXPECT_FALSE(ToolsAreCalled(2, kOnePoll));
    EXPECT_EQ(State()["runningQueue"].size(), 1U);
    LetOneToolEnd();
    EXPECT_TRUE(ToolsAreCalled(2));
    LetOneToolEnd();
    EXPECT_EQ(first.Wait(), 0);
    EXPECT_EQ(other.Wait(), 0);
    EXPECT_FALSE(ContainersEverOverlapped());
    EXPECT_EQ(State()["runningQueue"], Parsed("{}"));
    EXPECT_EQ(State()["navo1"]["using"], 0);
}

TEST_F(Death, LeavesNothingWhenItsContainerIsRegisteredAnew) {
    WriteState(R"({"navo1":{"using":0,"used":0},"navo2":{"using":1,"used":0}})");
    Worker first = AtWork("pdf");
    Kill(first);
    LetOneToolEnd();
    Json::Value state = State();
    state["navo1"]["using"] = 0;
    WriteState(Json::writeString(Json::StreamWriterBuilder(), state));
    Worker second = AtWork("pdf", kOther);
    Kill(second);
    LetOneToolEnd();
    PlayTool({});
    Worker next = PoolWorker({"pdf", kDocument});
    EXPECT_EQ(next.Wait(), 0);
    EXPECT_EQ(State()["runningQueue"], Parsed("{}"));
    EXPECT_EQ(State()["navo1"]["using"], 0);
    EXPECT_THAT(ScratchFiles(), IsEmpty());
    EXPECT_THAT(Names(kLeases), testing::ElementsAre("boot"));
}

TEST_F(Death, OfAHealerLeavesTheRestToTheNextOne) {
    LetContainerRunACommand("navo1", true);
    WriteState(R"({"navo1":{"using":0,"used":0},"navo2":{"using":0,"used":0}})");
    Worker first = AtWork("pdf");
    Kill(first);
    LetOneToolEnd();
    Worker second = AtWork("pdf");
    Kill(second);
    LetOneToolEnd();
    LetContainerRunACommand("navo1", false);
    PlayTool({});
    std::this_thread::sleep_for(seconds(2));  // somebody has just looked
    Worker next = PoolWorker({"pdf", kDocument});
    EXPECT_EQ(next.Wait(), 0);
    ExpectNothingLeft();
}

namespace {

// The clients of commands that run now.
std::vector<pid_t> Clients() {
    std::vector<pid_t> clients;
    for (const std::string& name : Names("/proc")) {
        const std::string command = ReadFile("/proc/" + name + "/cmdline");
        if (std::isdigit(name[0]) != 0 && command.starts_with("/usr/local/bin/docker")) {
            clients.push_back(std::stoi(name));
        }
    }
    return clients;
}

class DeathAtRandom : public Death {
protected:
    static constexpr int kRounds = 50;
    static constexpr int kLongestMs = 120;

    DeathAtRandom() {
        PlayTool({.sleepMs = 20});
        for (const char* document : kDocuments) {
            WriteFile(document, document);
        }
    }

    static std::vector<Worker> Four() {
        std::vector<Worker> workers;
        for (const char* document : kDocuments) {
            workers.push_back(PoolWorker({"pdf", document}));
        }
        workers.push_back(PoolWorker({"thumbnail", kDocuments[0]}));
        return workers;
    }
    void KillAll(std::vector<Worker>& workers) {
        const bool alsoClients = _random() % 2 == 0;
        for (Worker& worker : workers) {
            std::this_thread::sleep_for(milliseconds(_random() % (kLongestMs / 4)));
            worker.Signal(SIGKILL);
        }
        for (const pid_t client : alsoClients ? Clients() : std::vector<pid_t>()) {
            kill(client, SIGKILL);
        }
        for (Worker& worker : workers) {
            const int end = worker.Wait();
            EXPECT_TRUE(end == 0 || end == -SIGKILL) << end;
        }
    }

    static constexpr const char* kDocuments[] = {"/volume1/docs/a.docx", "/volume1/docs/b.docx",
                                                 "/volume1/docs/c.pdf"};
    std::mt19937 _random{std::random_device()()};
};

}  // namespace

TEST_F(DeathAtRandom, OfFourProcessesLeavesNothingToTheNextFour) {
    for (int round = 0; round < kRounds; ++round) {
        std::vector<Worker> workers = Four();
        KillAll(workers);
    }
    ASSERT_TRUE(ComesTrue([] { return Clients().empty(); }));
    std::vector<Worker> workers = Four();
    ExpectGoodEnds(workers);
    for (const char* document : kDocuments) {
        EXPECT_TRUE(IsKept(document));
        EXPECT_EQ(ReadFile(document), document);
    }
    EXPECT_TRUE(Exists(StreamOf(kDocuments[0], "NAVODOC_THUMB.png")));
    Worker last = PoolWorker({"pdf", kDocuments[0]});
    EXPECT_EQ(last.Wait(), 0);
    ExpectNothingLeft();
}

namespace {

// A job of the real engine, which starts a sandbox for it.
class DeathOfAClient : public Death {
protected:
    DeathOfAClient() {
        UseEmbeddedEngine();
        WriteState(R"({"navo1":{"using":0,"used":0},"navo2":{"using":1}})");
    }

    static ChildProcess Job(const std::vector<std::string>& command) {
        return ChildProcess([=] {
            ContainerPoolManager pool(0, 0, 1);
            return pool.Execute(command, ContainerPoolManager::PRIORITY_HIGH) == 1000 ? 0 : 1;
        });
    }
    // A job that runs, and is killed.
    static void KillAtWork(const std::vector<std::string>& command) {
        ChildProcess job = Job(command);
        ASSERT_TRUE(ComesTrue([] { return !Clients().empty(); }));
        job.Signal(SIGKILL);
        EXPECT_EQ(job.Wait(), -SIGKILL);
        EXPECT_EQ(State()["navo1"]["using"], 1);
    }
};

}  // namespace

TEST_F(DeathOfAClient, ThatHasNotComeKeepsTheSlotInUse) {
    KillAtWork({"sleep", "3"});
    ChildProcess next = Job({"true"});
    EXPECT_FALSE(ComesTrue([] { return State()["navo1"]["used"] == 2; }, milliseconds(1500)));
    EXPECT_FALSE(Clients().empty());
    EXPECT_EQ(next.Wait(), 0);
    EXPECT_EQ(State()["navo1"]["using"], 0);
}

TEST_F(DeathOfAClient, FreesTheSlotWithinOnePoll) {
    KillAtWork({"sleep", "60"});
    ChildProcess next = Job({"true"});
    for (const pid_t client : Clients()) {
        kill(client, SIGKILL);
    }
    EXPECT_TRUE(ComesTrue([] { return State()["navo1"]["used"] == 2; }, seconds(2)));
    EXPECT_EQ(next.Wait(), 0);
    EXPECT_EQ(State()["navo1"]["using"], 0);
}

namespace {

// The disk as it may be after a power cut: the state file was written, the leases were not.
class PowerCut : public Death {
protected:
    PowerCut() {
        Worker first = AtWork("pdf");
        Kill(first);
        LetOneToolEnd();
        for (const std::string& name : Names(kLeases)) {
            if (name != "boot") {
                unlink((kLeases + ("/" + name)).c_str());
            }
        }
        PlayTool({});
        Json::Value state = State();
        state["waitingQueue"][2]["lost job"] = true;
        state["others"] = "kept";
        WriteState(Json::writeString(Json::StreamWriterBuilder(), state));
        EXPECT_EQ(state["runningFiles"].size(), 1U);
        EXPECT_EQ(state["runningQueue"].size(), 1U);
        EXPECT_EQ(state["navo1"]["using"], 1);
        EXPECT_THAT(ScratchFiles(), testing::Not(IsEmpty()));
        std::this_thread::sleep_for(milliseconds(1100));  // what is there is older than the start
    }

    static constexpr const char* kRecord = "/var/packages/Vellumo/etc/leases/boot";
};

}  // namespace

TEST_F(PowerCut, FirstProcessAfterTheStartRemovesAllThatWasHeld) {
    WriteFile(kRecord, "an earlier start\n");
    Worker next = PoolWorker({"booted", kDocument});
    EXPECT_EQ(next.Wait(), 0);
    EXPECT_TRUE(IsKept(kDocument));
    ExpectNothingLeft();
    EXPECT_EQ(State()["others"], "kept");
    EXPECT_EQ(State()["navo1"]["used"], 2);
    EXPECT_EQ(ReadFile(kRecord), ReadFile("/proc/sys/kernel/random/boot_id"));
}

TEST_F(PowerCut, WithinOneStartWhatHasNoLeaseIsRespected) {
    Worker next = PoolWorker({"pdf", kDocument});
    EXPECT_EQ(next.ReadLine(), "waiting");
    EXPECT_EQ(State()["waitingQueue"][2].size(), 1U);
    next.Signal(SIGKILL);
}

TEST_F(PowerCut, WithoutARecordAllIsRespected) {
    unlink(kRecord);
    Worker next = PoolWorker({"booted", kDocument});
    EXPECT_EQ(next.ReadLine(), "waiting");
    EXPECT_EQ(ReadFile(kRecord), ReadFile("/proc/sys/kernel/random/boot_id"));
    next.Signal(SIGKILL);
}
