// SPDX-License-Identifier: Apache-2.0
// Measures the watching of a million files: the start in each way, the look through all files, and
// the memory for that.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "Device.h"
#include "DeviceView.h"
#include "Process.h"
#include "daemon/watch/TreeScan.h"
#include "daemon/watch/Watching.h"

using namespace vellumo::test;
using namespace vellumo::watch;

namespace {

using std::chrono::duration;
using std::chrono::steady_clock;

constexpr const char* kTop = "/volume1/docs";
constexpr int kFolders = 10000;
constexpr int kFilesInFolder = 100;

void MakeFiles() {
    for (int i = 0; i < kFolders; ++i) {
        const std::string above = std::string(kTop) + "/" + std::to_string(i / 100);
        const std::string folder = above + "/folder " + std::to_string(i);
        mkdir(above.c_str(), 0755);
        mkdir(folder.c_str(), 0755);
        for (int j = 0; j < kFilesInFolder; ++j) {
            const std::string path = folder + "/report " + std::to_string(j) + ".docx";
            close(open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
        }
    }
}

struct Measured {
    double seconds = 0;
    double longestStep = 0;  // milliseconds
    double change = 0;       // milliseconds from a change until it is told
};

constexpr const char* kResult = "/device/measured";

// Runs `body` in a process of its own, whose memory has held nothing else.
void InProcess(benchmark::State& state, const std::function<Measured()>& body) {
    for (auto _ : state) {
        unlink(kResult);
        ChildProcess process([&] {
            const double before = MemoryOf(getpid(), "VmHWM");
            const Measured measured = body();
            std::ofstream(kResult)
                << measured.seconds << ' ' << measured.longestStep << ' ' << measured.change << ' '
                << MemoryOf(getpid(), "VmHWM") - before << ' ' << MemoryOf(getpid(), "VmHWM");
            return 0;
        });
        Measured measured;
        double added = 0;
        double memory = 0;
        process.Wait();
        if (!(std::ifstream(kResult) >> measured.seconds >> measured.longestStep >>
              measured.change >> added >> memory)) {
            state.SkipWithError("the watch did not become ready");
        }
        state.SetIterationTime(measured.seconds);
        state.counters["longest step (ms)"] = measured.longestStep;
        if (measured.change > 0) {
            state.counters["change told (ms)"] = measured.change;
        }
        state.counters["added (MiB)"] = added;
        state.counters["VmHWM (MiB)"] = memory;
    }
}

double SecondsSince(steady_clock::time_point begin) {
    return duration<double>(steady_clock::now() - begin).count();
}

Changes TakeStep(Watching& watching, Measured& measured) {
    pollfd waiting{watching.Descriptor(), POLLIN, 0};
    poll(&waiting, 1, 1000);
    const auto begin = steady_clock::now();
    Changes changes = watching.Take();
    measured.longestStep = std::max(measured.longestStep, 1000 * SecondsSince(begin));
    return changes;
}

// From the start until all folders are watched, and then the time until one change is told. What
// scans take for that is a matter of their pace.
Measured Watch(Way way) {
    Measured measured;
    const auto begin = steady_clock::now();
    Watching watching({kTop}, {way, {}, {}});
    if (watching.Status().front().way != way) {
        _exit(1);
    }
    while (!watching.IsReady()) {
        TakeStep(watching, measured);
    }
    measured.seconds = SecondsSince(begin);
    const auto changed = steady_clock::now();
    const Change expected{Change::Kind::kChanged,
                          std::string(kTop) + "/50/folder 5000/report 50.docx"};
    WriteFile(expected.path, "changed");
    for (bool isTold = way == Way::kScan; !isTold;) {
        const Changes changes = TakeStep(watching, measured);
        isTold = std::find(changes.begin(), changes.end(), expected) != changes.end();
        measured.change = 1000 * SecondsSince(changed);
    }
    return measured;
}

Measured LookThroughAll() {
    Measured measured;
    size_t files = 0;
    TreeScan scan({kTop});
    const auto begin = steady_clock::now();
    for (bool goesOn = true; goesOn;) {
        std::vector<TreeScan::File> found;
        const auto step = steady_clock::now();
        goesOn = scan.Step(1000, found);
        measured.longestStep = std::max(measured.longestStep, 1000 * SecondsSince(step));
        files += found.size();
    }
    measured.seconds = SecondsSince(begin);
    if (files != size_t{kFolders} * kFilesInFolder) {
        _exit(1);
    }
    return measured;
}

void Register(const std::string& name, const std::function<Measured()>& body) {
    benchmark::RegisterBenchmark(("million files, " + name).c_str(),
                                 [body](benchmark::State& state) { InProcess(state, body); })
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->Repetitions(5)
        ->UseManualTime();
}

}  // namespace

int main(int argc, char** argv) {
    EnterDeviceView(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    for (const Way way : {Way::kFanotify, Way::kInotify, Way::kScan}) {
        Register(NameOf(way), [way] { return Watch(way); });
    }
    Register("look through all", LookThroughAll);
    PrepareFreshDevice();
    MakeFiles();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
