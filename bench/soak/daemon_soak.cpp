// SPDX-License-Identifier: Apache-2.0
// Works the daemon under mixed load and checks what it leaves:
//   vellumo_daemon_soak [MINUTES [SEED]]
// Users create, change, save, rename and delete documents, others queue work; the daemon is stopped
// and killed, its containers are taken away, its clock jumps. In the second half of the time one
// daemon runs throughout, which shows whether its memory grows. Exit status 0 when nothing is
// missing, nothing was converted twice without a good reason, and nothing is left behind.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Check.h"
#include "Device.h"
#include "DeviceView.h"
#include "Documents.h"
#include "RunningDaemon.h"
#include "StateFile.h"
#include "vellumo/ConfigManager.h"
#include "vellumo/Constants.h"

using namespace vellumo::soak;
namespace test = vellumo::test;
namespace core = NAVO::VELLUMO;

namespace {

constexpr const char* kClock = "/device/clock-shift";
constexpr int kContainers = 4;
constexpr int64_t kMinute = 60000;
constexpr int64_t kSampleEvery = 10000;

// How often each disturbance comes, at most a part of the whole time.
constexpr int64_t kRestartEvery = 4 * kMinute;
constexpr int64_t kPoolEvery = 5 * kMinute;
constexpr int64_t kClockEvery = 3 * kMinute;
constexpr int64_t kLookEvery = kMinute;

// Longer than a worker may take: what was in the containers has ended then.
constexpr int64_t kPoolAway = 25000;

constexpr const char* kSettings =
    R"({"settle": "2s", "pauseCpu": 0, "pauseIo": 0, "workerTime": "15s", "cacheLimit": "10G"})";

struct Sample {
    int64_t time;
    pid_t daemon;
    double mebibytes;
};

void ShiftClock(int64_t seconds) {
    const int file = open(kClock, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (pwrite(file, &seconds, sizeof seconds, 0) != sizeof seconds) {
        std::perror(kClock);
    }
    close(file);
}

Json::Value IdleContainer() {
    return test::Parsed(R"({"using":0,"used":0})");
}

// Something that happens again and again.
class Timer {
public:
    Timer(int64_t every, int64_t whole)
        : _every(std::min(every, whole / 6)), _next(Now() + _every) {}

    bool IsDue() {
        if (Now() < _next) {
            return false;
        }
        _next = Now() + _every;
        return true;
    }

private:
    int64_t _every;
    int64_t _next;
};

class Soak {
public:
    Soak(int64_t duration, unsigned seed)
        : _documents(seed), _random(seed), _duration(duration), _begin(Now()) {}

    void Prepare();
    void Run();
    bool Settle();
    static bool WaitUntilDone();
    bool IsGood();

private:
    void Start();
    void Stop(int signal);
    void Disturb();
    void TakeContainers();
    void GiveContainers();
    void Look();
    void TakeSample();
    bool ReportMemory() const;
    bool ConvertsOneMore() const;
    double Minutes(int64_t time) const { return static_cast<double>(time - _begin) / kMinute; }

    Documents _documents;
    std::mt19937 _random;
    int64_t _duration;
    int64_t _begin;
    std::unique_ptr<test::RunningDaemon> _daemon;
    std::vector<Disturbance> _disturbances;
    std::vector<Sample> _samples;
    std::map<std::string, int> _counts;
    Timer _restart{kRestartEvery, _duration};
    Timer _pool{kPoolEvery, _duration};
    Timer _clock{kClockEvery, _duration};
    Timer _look{kLookEvery, _duration};
    Timer _sample{kSampleEvery, _duration};
    int64_t _containersAway = 0;  // since when; 0: they are there
};

void Soak::Prepare() {
    test::PrepareFreshDevice();
    test::PlayToolsOfDocuments();
    ShiftClock(0);
    test::WriteFile(core::SZF_INDEX_CONFIG, kSettings);
    test::WriteFile(core::SZF_ENABLE_INDEX, "");
    GiveContainers();
    _documents.AddRealOnes(VELLUMO_SAMPLES);
    Start();
}

void Soak::Start() {
    _daemon = std::make_unique<test::RunningDaemon>(
        std::vector<std::string>{std::string("LD_PRELOAD=") + VELLUMO_CLOCK_SHIFT});
}

void Soak::Stop(int signal) {
    _daemon->Signal(signal);
    const int status = _daemon->Wait();
    if (status != (signal == SIGKILL ? -SIGKILL : 0)) {
        std::cout << "the daemon ended with " << status << '\n';
        ++_counts["bad ends of the daemon"];
    }
    _daemon.reset();
}

// In the second half, the daemon that runs then stays.
void Soak::Disturb() {
    if (_restart.IsDue() && Now() - _begin < _duration / 2) {
        const int64_t begin = Now();
        std::cout << "restart at " << begin << '\n';
        const bool isKilled = _counts["restarts"]++ % 2 == 1;
        Stop(isKilled ? SIGKILL : SIGTERM);
        Start();
        _disturbances.push_back({begin, Now()});
    }
    if (_containersAway == 0 && _pool.IsDue()) {
        TakeContainers();
        ++_counts["pool emptied"];
    } else if (_containersAway != 0 && Now() - _containersAway > kPoolAway) {
        GiveContainers();
        _disturbances.push_back({_containersAway, Now()});
        _containersAway = 0;
    }
    if (_clock.IsDue()) {
        constexpr int64_t kShifts[] = {3600, -3600, 86400, 0, -86400, 10800, 0};
        ShiftClock(kShifts[static_cast<size_t>(_counts["clock changed"]++) % std::size(kShifts)]);
    }
}

void Soak::TakeContainers() {
    core::ConfigManager state(test::kStateFile, core::LOCK_TIMEOUT_SECS);
    const core::ConfigWriter writer(state);
    for (int i = 1; i <= kContainers; ++i) {
        state.config.removeMember("navo" + std::to_string(i));
    }
    _containersAway = Now();
}

void Soak::GiveContainers() {
    core::ConfigManager state(test::kStateFile, core::LOCK_TIMEOUT_SECS);
    const core::ConfigWriter writer(state);
    for (int i = 1; i <= kContainers; ++i) {
        state.config["navo" + std::to_string(i)] = IdleContainer();
    }
}

void Soak::Look() {
    if (test::RunProgram({VELLUMO_TOOL, "status"}).status != 0) {
        ++_counts["looks without an answer"];
    }
    if (!test::RunProgram({VELLUMO_TOOL, "status", "--metrics"}).output.ends_with("# EOF\n")) {
        ++_counts["metrics without an end"];
    }
    ++_counts["looks"];
    _daemon->Signal(SIGHUP);
    std::cout << "settings read anew at " << Now() << '\n';
    const Json::Value status = test::RunningDaemon::Status();
    std::cout << "minute " << Minutes(Now()) << ": " << _documents.All().size() << " documents, "
              << status["perMinute"].asDouble() << " a minute, "
              << test::MemoryOf(_daemon->Id(), "VmRSS") << " MiB" << std::endl;
}

void Soak::TakeSample() {
    _samples.push_back({Now(), _daemon->Id(), test::MemoryOf(_daemon->Id(), "VmRSS")});
}

void Soak::Run() {
    while (Now() - _begin < _duration) {
        ++_counts[_random() % 12 == 0 ? _documents.Ask() : _documents.Change()];
        Disturb();
        if (_look.IsDue()) {
            Look();
        }
        if (_sample.IsDue()) {
            TakeSample();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200 + _random() % 600));
    }
}

// Products that somebody had removed are asked for again; nothing else is helped along.
bool Soak::Settle() {
    if (_containersAway != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(kPoolAway));
        GiveContainers();
    }
    ShiftClock(0);
    WaitUntilDone();  // a removal that is still queued comes before what is asked for again
    for (const std::string& realPath : _documents.WithoutProducts()) {
        test::RunVellumo({"queue", "add", realPath.substr(std::string("/volume1").size())});
    }
    const bool isDone = WaitUntilDone();
    std::cout << test::RunningDaemon::Status().toStyledString();
    return isDone;
}

bool Soak::WaitUntilDone() {
    const int64_t begin = Now();
    std::this_thread::sleep_for(std::chrono::seconds(5));
    while (!test::RunningDaemon::IsDone() && Now() - begin < 15 * kMinute) {
    }
    std::cout << "settled within " << (Now() - begin) / 1000 << " s\n";
    return test::RunningDaemon::IsDone();
}

// The last daemon's memory, as a line through its samples after its first third. Less than ten
// minutes say nothing: SQLite's caches and the tables of what was seen fill up first.
bool Soak::ReportMemory() const {
    std::vector<Sample> last;
    std::copy_if(_samples.begin(), _samples.end(), std::back_inserter(last),
                 [&](const Sample& each) { return each.daemon == _daemon->Id(); });
    last.erase(last.begin(), last.begin() + static_cast<std::ptrdiff_t>(last.size() / 3));
    double time = 0;
    double memory = 0;
    for (const Sample& each : last) {
        time += Minutes(each.time) / static_cast<double>(last.size());
        memory += each.mebibytes / static_cast<double>(last.size());
    }
    double product = 0;
    double square = 0;
    for (const Sample& each : last) {
        product += (Minutes(each.time) - time) * (each.mebibytes - memory);
        square += (Minutes(each.time) - time) * (Minutes(each.time) - time);
    }
    const double slope = square > 0 ? product / square : 0;
    std::cout << "memory of the last daemon: " << last.front().mebibytes << " MiB at minute "
              << Minutes(last.front().time) << ", " << last.back().mebibytes << " MiB at minute "
              << Minutes(last.back().time) << "; slope " << slope * 60 << " MiB an hour\n";
    const bool isLong = last.back().time - last.front().time >= 10 * kMinute;
    return !isLong || slope * 60 < memory / 10;
}

// What a killed worker has left is removed by the next conversion, and its own may have been the
// last.
bool Soak::ConvertsOneMore() const {
    const auto& all = _documents.All();
    const auto real = std::find_if(
        all.begin(), all.end(), [](const auto& each) { return each.second.behaviour == "real"; });
    return real != all.end() &&
           test::RunVellumo({"pdf", "--no-cache", "--output", "/device/one-more.pdf",
                             real->first.substr(std::string("/volume1").size())}) == 0;
}

bool Soak::IsGood() {
    bool isGood = ReportMemory() && _counts["bad ends of the daemon"] == 0;
    Stop(SIGTERM);
    for (const auto& [name, count] : _counts) {
        std::cout << name << ": " << count << '\n';
    }
    isGood = test::RunVellumo({"cache", "sweep"}) == 0 && isGood;
    isGood = ConvertsOneMore() && isGood;
    for (const Faults& faults :
         {CheckProducts(_documents), CheckRepetitions(_documents, _disturbances),
          CheckForgotten(_documents), CheckLeftovers()}) {
        for (const std::string& fault : faults) {
            std::cout << "FAULT: " << fault << '\n';
        }
        isGood = isGood && faults.empty();
    }
    return isGood;
}

}  // namespace

int main(int argc, char** argv) {
    test::EnterDeviceView(argc, argv);
    const int64_t minutes = argc > 1 ? std::atoi(argv[1]) : 60;
    const auto seed = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : std::random_device()();
    std::cout << "minutes: " << minutes << ", seed: " << seed << std::endl;
    Soak soak(minutes * kMinute, seed);
    soak.Prepare();
    soak.Run();
    const bool isSettled = soak.Settle();
    const bool isGood = soak.IsGood() && isSettled;
    std::cout << (isGood ? "good" : "NOT GOOD") << '\n';
    return isGood ? EXIT_SUCCESS : EXIT_FAILURE;
}
