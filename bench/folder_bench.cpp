// SPDX-License-Identifier: Apache-2.0
// Measures folders that the command line converts: several documents at once, and how soon a large
// folder starts.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "Device.h"
#include "DeviceView.h"
#include "Process.h"
#include "StateFile.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;

namespace {

namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;

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

// A pool of two real offices, in the embedded engine, which keeps them warm.
bool StartOffices() {
    PrepareFreshDevice();
    UseEmbeddedEngine();
    WriteState("{}");
    return RunProgram({VELLUMO_TOOL, "pool", "up", "--engine", "embedded", "--size", "2"}).status ==
           0;
}

void EndOffices() {
    RunProgram({VELLUMO_TOOL, "pool", "down", "--force"});
}

// The same as Convert() with the real office; the benchmark's argument says how many containers are
// used.
void ConvertReally(benchmark::State& state) {
    if (!StartOffices()) {
        state.SkipWithError("no pool");
        return;
    }
    const std::string letter = ReadFile(VELLUMO_SAMPLES "/letter.docx");
    for (int i = 0; i < kDocuments; ++i) {
        WriteFile("/volume1/docs/letter " + std::to_string(i) + ".docx", letter);
    }
    const std::string jobs = std::to_string(state.range(0));
    for (auto _ : state) {
        if (Start({"--refresh", "--jobs", jobs}).Wait() != 0) {
            state.SkipWithError("not every document was converted");
        }
    }
    state.counters["documents/s"] =
        benchmark::Counter(kDocuments, benchmark::Counter::kIsIterationInvariantRate);
    EndOffices();
}

bool ConvertWithOffice(const std::string& container, int count) {
    const std::string source = "bench-" + container + ".docx";
    fs::copy_file(VELLUMO_SAMPLES "/letter.docx", kSourceDir + source);
    for (int i = 0; i < count; ++i) {
        RunProgram({"/usr/local/bin/docker", "exec", container, "timeout", "--kill-after=5", "120",
                    "soffice", "--headless", "--convert-to", "pdf", "--outdir",
                    core::SZF_COVERT_TARGET_DIR, core::SZF_COVERT_SOURCE_DIR + source});
        if (unlink((kTargetDir + ("bench-" + container + ".pdf")).c_str()) != 0) {
            return false;
        }
    }
    return true;
}

// As many letters with the offices alone, without the library: what the machine can do at most.
void RunOffices(benchmark::State& state) {
    if (!StartOffices()) {
        state.SkipWithError("no pool");
        return;
    }
    const auto offices = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::vector<ChildProcess> processes;
        for (int i = 1; i <= offices; ++i) {
            processes.emplace_back([&, i] {
                return ConvertWithOffice("navo" + std::to_string(i), kDocuments / offices) ? 0 : 1;
            });
        }
        for (ChildProcess& process : processes) {
            if (process.Wait() != 0) {
                state.SkipWithError("an office left no product");
            }
        }
        for (const std::string& name : Names(kSourceDir)) {
            unlink((kSourceDir + name).c_str());
        }
    }
    state.counters["documents/s"] =
        benchmark::Counter(kDocuments, benchmark::Counter::kIsIterationInvariantRate);
    EndOffices();
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
        state.counters["MiB"] = MemoryOf(tool.Id(), "VmHWM");
        tool.Signal(SIGTERM);
        tool.Wait();
    }
}

// Waits until the tools have been called so often in all, or the time for that is over.
class Calls {
public:
    bool WaitFor(int count) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::hours(2);
        while (_seen < count && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            Read();
        }
        return _seen >= count;
    }

private:
    void Read() {
        _file.clear();  // after the end that the last Read() met
        for (char character = 0; _file.get(character);) {
            _seen += character == '\n' ? 1 : 0;
        }
    }

    std::ifstream _file{"/device/docker-calls"};
    int _seen = 0;
};

// A hundred thousand documents to the end, with a tool that takes no time: whether a document costs
// more, the more have been converted. For each number the mean of the thousand before it.
void ConvertLarge(benchmark::State& state) {
    PrepareFreshDevice();
    RegisterContainers(state.range(0));
    MakeDocuments(kManyDocuments);
    PlayTool({});
    for (auto _ : state) {
        WriteFile("/device/docker-calls", "");
        Calls calls;
        ChildProcess tool = Start({});
        for (const int mark : {1000, 10000, 50000, kManyDocuments}) {
            calls.WaitFor(mark - 999);
            const auto begin = std::chrono::steady_clock::now();
            if (!calls.WaitFor(mark)) {
                state.SkipWithError("a document takes too long");
            }
            const std::chrono::duration<double, std::milli> taken =
                std::chrono::steady_clock::now() - begin;
            state.counters["ms at " + std::to_string(mark)] = taken.count() / 1000;
            std::cerr << mark << " documents: " << taken.count() / 1000 << " ms each, "
                      << MemoryOf(tool.Id(), "VmHWM") << " MiB\n";
        }
        state.counters["MiB"] = MemoryOf(tool.Id(), "VmHWM");
        if (tool.Wait() != 0) {
            state.SkipWithError("not every document was converted");
        }
    }
    state.counters["documents/s"] =
        benchmark::Counter(kManyDocuments, benchmark::Counter::kIsIterationInvariantRate);
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
    for (const int64_t containers : {1, 2}) {
        benchmark::RegisterBenchmark("folder of 40 letters, real office, jobs", ConvertReally)
            ->Arg(containers)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1)
            ->UseRealTime();
    }
    for (const int64_t offices : {1, 2}) {
        benchmark::RegisterBenchmark("40 letters, offices alone, at once", RunOffices)
            ->Arg(offices)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1)
            ->UseRealTime();
    }
    benchmark::RegisterBenchmark("folder of 100000, first tool", StartLarge)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->UseManualTime();
    benchmark::RegisterBenchmark("folder of 100000, all, containers", ConvertLarge)
        ->Arg(4)
        ->Unit(benchmark::kSecond)
        ->Iterations(1)
        ->UseRealTime();
    benchmark::RegisterBenchmark("folder of 100000, dry run", LookThroughLarge)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->UseRealTime();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
