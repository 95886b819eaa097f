// SPDX-License-Identifier: Apache-2.0
// Measures folders that the command line converts: several documents at once, and how soon a large
// folder starts.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "Device.h"
#include "DeviceView.h"
#include "Process.h"
#include "StateFile.h"

using namespace vellumo::test;

namespace {

constexpr int kDocuments = 40;
constexpr int kToolMs = 250;  // about what a warm office takes; it needs no core of this machine
constexpr int kManyDocuments = 100000;
constexpr int kDocumentsInFolder = 500;

ChildProcess Start(const std::vector<std::string>& options) {
    std::vector<std::string> command{VELLUMO_TOOL, "pdf", "-q", "-r", "/docs"};
    command.insert(command.end(), options.begin(), options.end());
    return ChildProcess([command] { return BecomeProgram(command); });
}

void RegisterContainers(int64_t count) {
    std::string state = "{";
    for (int64_t i = 1; i <= count; ++i) {
        state += (i == 1 ? "" : ",") + std::string(R"("navo)") + std::to_string(i) +
                 R"(":{"using":0,"used":0})";
    }
    WriteState(state + "}");
}

void MakeDocuments(int count) {
    for (int i = 0; i < count; ++i) {
        const std::string folder = "/volume1/docs/" + std::to_string(i / kDocumentsInFolder);
        if (i % kDocumentsInFolder == 0) {
            MakeDirectory(folder);
        }
        WriteFile(folder + "/report " + std::to_string(i) + ".docx", "some document");
    }
}

// The whole folder, with as many containers as the benchmark's argument says.
void Convert(benchmark::State& state) {
    PrepareFreshDevice();
    RegisterContainers(state.range(0));
    MakeDocuments(kDocuments);
    PlayTool({.sleepMs = kToolMs});
    for (auto _ : state) {
        if (Start({"--refresh"}).Wait() != 0) {
            state.SkipWithError("not every document was converted");
        }
    }
    state.counters["documents/s"] =
        benchmark::Counter(kDocuments, benchmark::Counter::kIsIterationInvariantRate);
}

// The largest memory that the process has needed so far, in MiB.
double PeakMemory(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            double kibibytes = 0;
            status >> kibibytes;
            return kibibytes / 1024;
        }
    }
    return 0;
}

// From the start of the command to its first tool, with a hundred thousand documents.
void StartLarge(benchmark::State& state) {
    PrepareFreshDevice();
    MakeDocuments(kManyDocuments);
    for (auto _ : state) {
        unlink("/device/docker-calls");
        PlayTool({.sleepMs = kToolMs});
        const auto begin = std::chrono::steady_clock::now();
        ChildProcess tool = Start({});
        if (!ToolsAreCalled()) {
            state.SkipWithError("no tool was called");
        }
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
        std::this_thread::sleep_for(std::chrono::seconds(15));  // all is looked through by then
        state.counters["MiB"] = PeakMemory(tool.Id());
        tool.Signal(SIGTERM);
        tool.Wait();
    }
}

// All of a hundred thousand documents looked through, and told as one JSON document.
void LookThroughLarge(benchmark::State& state) {
    PrepareFreshDevice();
    MakeDocuments(kManyDocuments);
    for (auto _ : state) {
        ChildProcess tool([] {
            const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
            dup2(null, STDOUT_FILENO);
            return BecomeProgram({VELLUMO_TOOL, "pdf", "-r", "/docs", "--dry-run", "--json"});
        });
        if (tool.Wait() != 0) {
            state.SkipWithError("the dry run failed");
        }
    }
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);  // the largest child so far; none before was larger
    state.counters["MiB"] = static_cast<double>(usage.ru_maxrss) / 1024;
}

}  // namespace

int main(int argc, char** argv) {
    EnterDeviceView(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    for (const int64_t containers : {1, 2, 4, 8}) {
        benchmark::RegisterBenchmark("folder of 40, containers", Convert)
            ->Arg(containers)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1)
            ->UseRealTime();
    }
    benchmark::RegisterBenchmark("folder of 100000, first tool", StartLarge)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->UseManualTime();
    benchmark::RegisterBenchmark("folder of 100000, dry run", LookThroughLarge)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->UseRealTime();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
