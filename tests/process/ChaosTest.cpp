// SPDX-License-Identifier: Apache-2.0
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <thread>

#include "Device.h"
#include "StateFile.h"
#include "Worker.h"
#include "vellumo/BaseDB.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using NAVO::VELLUMO::BaseDB;
using NAVO::VELLUMO::Row;
using NAVO::VELLUMO::SZF_CACHE_DB_PATH;
using NAVO::VELLUMO::SZK_THUMB_PDF_TYPE;
using NAVO::VELLUMO::SZK_THUMB_TYPE;
using std::chrono::milliseconds;
using std::chrono::minutes;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

// Four processes convert, store and collect on the same documents. Again and again, one of all the
// processes that belong to this is killed: a library's process, the command line or its worker, an
// engine's client, a sandbox, a tool, an office. Then the same run goes on, and ends.
//
// Two variables of the environment: VELLUMO_KILLS tells how many are killed, VELLUMO_SEED repeats
// the choices of an earlier run.
namespace {

namespace fs = std::filesystem;

constexpr const char* kEtc = "/var/packages/Vellumo/etc";
constexpr const char* kDocker = "/usr/local/bin/docker";
constexpr std::array<const char*, 3> kContainers{"navo1", "navo2", "navo3"};

int FromEnvironment(const char* variable, int otherwise) {
    const char* const value = std::getenv(variable);
    return value == nullptr ? otherwise : std::atoi(value);
}

// The processes whose parents are known, and their names.
struct Process {
    pid_t parent = 0;
    std::string name;
    bool isAlive = false;
};

// Nothing when it has just ended.
std::optional<Process> Read(const std::string& id) {
    std::string text;
    std::ifstream file("/proc/" + id + "/stat");
    std::getline(file, text);
    const size_t begin = text.find('(');
    const size_t end = text.rfind(") ");
    if (begin == std::string::npos || end == std::string::npos) {
        return std::nullopt;
    }
    Process process;
    process.name = text.substr(begin + 1, end - begin - 1);
    process.isAlive = text.at(end + 2) != 'Z' && text.at(end + 2) != 'X';
    process.parent = std::atoi(text.c_str() + end + 4);
    return process;
}

std::map<pid_t, Process> AllProcesses() {
    std::map<pid_t, Process> all;
    for (const std::string& name : Names("/proc")) {
        if (std::isdigit(name[0]) == 0) {
            continue;
        }
        if (const auto process = Read(name)) {
            all[std::stoi(name)] = *process;
        }
    }
    return all;
}

bool Descends(const std::map<pid_t, Process>& all, pid_t process) {
    for (auto at = all.find(process); at != all.end(); at = all.find(at->second.parent)) {
        if (at->second.parent == getpid()) {
            return true;
        }
    }
    return false;
}

// All that this test has started, and what these have started.
std::map<pid_t, Process> Descendants() {
    std::map<pid_t, Process> all = AllProcesses();
    std::map<pid_t, Process> descendants;
    for (const auto& [id, process] : all) {
        if (process.isAlive && Descends(all, id)) {
            descendants[id] = process;
        }
    }
    return descendants;
}

std::string ListOf(const std::map<pid_t, Process>& processes) {
    std::string list;
    for (const auto& [id, process] : processes) {
        const std::string folder = "/proc/" + std::to_string(id);
        list += '\n' + std::to_string(id) + " of " + std::to_string(process.parent) + ' ' +
                process.name + ", waits in " + ReadFile(folder + "/wchan");
    }
    return list;
}

std::vector<Row> RowsOf(const std::string& file, const std::string& query) {
    BaseDB database;
    database.path = file;
    EXPECT_TRUE(database.Open());
    std::vector<Row> rows;
    EXPECT_TRUE(database.QueryResult(query, rows)) << query;
    return rows;
}

class Chaos : public DeviceTest {
protected:
    static constexpr int kLanes = 4;

    Chaos() : _seed(FromEnvironment("VELLUMO_SEED", static_cast<int>(std::random_device()()))) {
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        // The address sanitizer's search for leaks has a process of its own, and goes on for ever
        // when that is killed.
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
        _random.seed(static_cast<unsigned>(_seed));
        unlink(SZF_CACHE_DB_PATH);
        std::cout << "VELLUMO_SEED=" << _seed << std::endl;
        WriteState(R"({"navo1":{"using":0,"used":0},"navo2":{"using":0,"used":0},)"
                   R"("navo3":{"using":0,"used":0}})");
    }
    ~Chaos() override {
        unsetenv("ASAN_OPTIONS");
        prctl(PR_SET_CHILD_SUBREAPER, 0);
    }

    void AddDocument(const std::string& name, const std::string& content) {
        const std::string path = "/volume1/docs/" + name;
        WriteFile(path, content);
        _documents[path] = content;
    }

    int Number(int below) { return std::uniform_int_distribution<int>(0, below - 1)(_random); }

    // Offices are started, now and again whenever they are missing.
    void KeepOfficesWarm() {
        _isWarm = true;
        for (const char* container : kContainers) {
            ASSERT_EQ(RunProgram({kDocker, "start", container}).status, 0);
        }
    }

    void StopOffices() {
        for (const char* container : kContainers) {
            EXPECT_EQ(RunProgram({kDocker, "stop", container}).status, 0);
        }
        // A tool that waits for an office that was killed has 125 seconds, as every tool.
        EXPECT_TRUE(ComesTrue([] { return CollectDead() == 0; }, minutes(3)))
            << "these outlive their end:" << ListOf(Descendants());
        EXPECT_THAT(Names("/volume1/docker/@tmp/Vellumo/@tmp"),
                    UnorderedElementsAre("source", "target"));
    }

    // Kills that many processes, each after a random time of at most `longest`.
    void Kill(int count, milliseconds longest) {
        for (int killed = 0; killed < count && !HasFailure();) {
            for (pid_t& lane : _lanes) {
                lane = Goes(lane) ? lane : StartSome();
            }
            std::this_thread::sleep_for(milliseconds(Number(static_cast<int>(longest.count()))));
            killed += KillOne() ? 1 : 0;
        }
        for (const auto& [name, killed] : _killed) {
            std::cout << "killed: " << killed << ' ' << name << '\n';
        }
    }

    // The same run, to its end: nobody is killed any more.
    void GoOn() {
        EXPECT_TRUE(ComesTrue([this] { return HasEnded(); }, minutes(6)))
            << "the run goes on for ever";
        std::vector<Worker> workers;
        for (const auto& [path, content] : _documents) {
            for (const char* service : {"pdf", "thumbnail"}) {
                workers.push_back(PoolWorker({service, path}));
            }
            if (workers.size() >= kLanes) {
                ExpectGoodEnds(workers);
                workers.clear();
            }
        }
        ExpectGoodEnds(workers);
    }

    void ExpectAllRight() const {
        const Json::Value state = State();
        EXPECT_EQ(state["runningFiles"], Parsed("{}"));
        EXPECT_EQ(state["runningQueue"], Parsed("{}"));
        EXPECT_EQ(state["waitingQueue"], Parsed("[{},{},{}]"));
        for (const char* container : kContainers) {
            EXPECT_EQ(state[container]["using"], 0) << container;
        }
        EXPECT_THAT(ScratchFiles(), IsEmpty());
        EXPECT_THAT(Names(std::string(kEtc) + "/leases"), ElementsAre("boot"));
        for (const auto& [path, content] : _documents) {
            EXPECT_TRUE(ReadFile(path) == content) << path << " was changed";
            EXPECT_TRUE(Exists(StreamOf(path, SZK_THUMB_TYPE))) << path;
        }
        ExpectRightRows();
    }

    size_t Documents() const { return _documents.size(); }

private:
    // A conversion, a collection or a run of the command line.
    pid_t StartSome() {
        const std::string path =
            std::next(_documents.begin(), Number(static_cast<int>(Documents())))->first;
        const std::string sharePath = path.substr(std::string("/volume1").size());
        std::vector<std::vector<std::string>> commands{
            {VELLUMO_POOL_WORKER, "pdf", path},
            {VELLUMO_POOL_WORKER, "bulk", path},
            {VELLUMO_POOL_WORKER, "thumbnail", path},
            {VELLUMO_POOL_WORKER, "collect", "1500"},
            {VELLUMO_TOOL, "pdf", "-q", "--refresh", sharePath, "-o",
             "/device/out-" + std::to_string(++_started) + ".pdf"},
            {VELLUMO_TOOL, "pdf", "-q", "-r", "--jobs", "2", "/docs"}};
        if (_isWarm) {
            const std::string container = "navo" + std::to_string(1 + Number(kContainers.size()));
            commands.push_back({kDocker, "start", container});
        }
        return Fork(commands.at(static_cast<size_t>(Number(static_cast<int>(commands.size())))));
    }

    static pid_t Fork(const std::vector<std::string>& command) {
        const pid_t child = fork();
        if (child == 0) {
            if (std::freopen("/dev/null", "w", stdout) == nullptr ||
                std::freopen("/dev/null", "w", stderr) == nullptr) {
                _exit(126);
            }
            _exit(BecomeProgram(command));
        }
        return child;
    }

    static bool Goes(pid_t lane) {
        CollectDead();
        return lane != 0 && kill(lane, 0) == 0;
    }

    // Offices go on when the run has ended.
    bool HasEnded() const {
        const size_t processes = CollectDead();
        return _isWarm ? std::none_of(_lanes.begin(), _lanes.end(), Goes) : processes == 0;
    }

    // How many descendants are left.
    static size_t CollectDead() {
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        return Descendants().size();
    }

    bool KillOne() {
        const auto processes = Descendants();
        if (processes.empty()) {
            return false;
        }
        const auto chosen =
            std::next(processes.begin(), Number(static_cast<int>(processes.size())));
        if (kill(chosen->first, SIGKILL) != 0) {
            return false;
        }
        ++_killed[chosen->second.name];
        return true;
    }

    // Each kept PDF has a row that tells its size, and each row a PDF.
    void ExpectRightRows() const {
        EXPECT_EQ(RowsOf(SZF_CACHE_DB_PATH, "PRAGMA integrity_check")[0]["integrity_check"], "ok");
        EXPECT_THAT(RowsOf(SZF_CACHE_DB_PATH, "SELECT * FROM cache"), SizeIs(Documents()));
        EXPECT_THAT(RowsOf(SZF_CACHE_DB_PATH, "SELECT * FROM cache_target"), SizeIs(Documents()));
        for (const auto& [path, content] : _documents) {
            const std::string pdf = StreamOf(path, SZK_THUMB_PDF_TYPE);
            auto rows =
                RowsOf(SZF_CACHE_DB_PATH, "SELECT size FROM cache WHERE target = '" + path + "'");
            ASSERT_THAT(rows, SizeIs(1)) << path;
            ASSERT_TRUE(fs::exists(pdf)) << path;
            EXPECT_EQ(rows[0]["size"], std::to_string(fs::file_size(pdf))) << path;
        }
    }

    int _seed;
    std::mt19937 _random;
    std::vector<pid_t> _lanes = std::vector<pid_t>(kLanes, 0);
    bool _isWarm = false;
    int _started = 0;
    std::map<std::string, std::string> _documents;  // contents by real path
    std::map<std::string, int> _killed;             // by name
};

}  // namespace

TEST_F(Chaos, OfScriptedToolsLeavesNothing) {
    for (int i = 0; i < 9; ++i) {
        for (const char* type : {".docx", ".odt", ".xlsx", ".pptx"}) {
            AddDocument(std::to_string(i) + type, "document " + std::to_string(i) + type);
        }
    }
    PlayTool({.sleepMs = 20});
    Kill(FromEnvironment("VELLUMO_KILLS", 60), milliseconds(60));
    GoOn();
    ExpectAllRight();
}

// Of each family one, in the embedded engine.
class EngineChaos : public Chaos {
protected:
    void SetUp() override {
        if (RunProgram({"which", "soffice"}).status != 0) {
            GTEST_SKIP() << "no office here";
        }
        UseEmbeddedEngine();
        for (const char* name : {"letter.docx", "report.odt", "budget.xlsx", "pitch.pptx"}) {
            AddDocument(name, ReadFile(std::string(VELLUMO_SAMPLES) + "/" + name));
        }
    }

    static int Kills() { return FromEnvironment("VELLUMO_ENGINE_KILLS", 10); }
};

TEST_F(EngineChaos, OfColdToolsLeavesNothing) {
    Kill(Kills(), milliseconds(1000));
    GoOn();
    ExpectAllRight();
}

TEST_F(EngineChaos, OfWarmOfficesLeavesNothing) {
    KeepOfficesWarm();
    Kill(Kills(), milliseconds(500));
    GoOn();
    StopOffices();
    ExpectAllRight();
}
